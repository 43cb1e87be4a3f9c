# LibSodium::LibSodium: the library ships no CMake package.
include(PlainLibrary)
softwareupdate_find_plain_library(LibSodium sodium.h sodium libsodium)
if(TARGET LibSodium::LibSodium)
    # On Windows this is a static library, which its header cannot detect.
    set_target_properties(LibSodium::LibSodium PROPERTIES
        INTERFACE_COMPILE_DEFINITIONS "$<$<PLATFORM_ID:Windows>:SODIUM_STATIC>")
endif()
