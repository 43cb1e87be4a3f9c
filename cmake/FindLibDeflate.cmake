# LibDeflate::LibDeflate: the library ships a CMake package only since 1.15.
include(PlainLibrary)
softwareupdate_find_plain_library(LibDeflate libdeflate.h deflate libdeflate)
