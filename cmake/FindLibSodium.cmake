# LibSodium::LibSodium: the library ships no CMake package.
include(PlainLibrary)
softwareupdate_find_plain_library(LibSodium sodium.h sodium libsodium)
if(TARGET LibSodium::LibSodium)
    # The one in question is a static library on Windows, and its header cannot tell.
    set_target_properties(LibSodium::LibSodium PROPERTIES
        INTERFACE_COMPILE_DEFINITIONS "$<$<PLATFORM_ID:Windows>:SODIUM_STATIC>")
endif()
