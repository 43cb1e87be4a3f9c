# LibZstd::LibZstd: distributions do not all ship its CMake package.
include(PlainLibrary)
softwareupdate_find_plain_library(LibZstd zstd.h zstd libzstd)
