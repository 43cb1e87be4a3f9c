# LibSodium::LibSodium by search: the library ships no CMake package.
find_path(LibSodium_INCLUDE_DIR sodium.h)
find_library(LibSodium_LIBRARY NAMES sodium libsodium)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibSodium REQUIRED_VARS LibSodium_LIBRARY LibSodium_INCLUDE_DIR)

if(LibSodium_FOUND AND NOT TARGET LibSodium::LibSodium)
    add_library(LibSodium::LibSodium UNKNOWN IMPORTED)
    set_target_properties(LibSodium::LibSodium PROPERTIES
        IMPORTED_LOCATION "${LibSodium_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${LibSodium_INCLUDE_DIR}"
        # The one in question is a static library on Windows, and its header cannot tell.
        INTERFACE_COMPILE_DEFINITIONS "$<$<PLATFORM_ID:Windows>:SODIUM_STATIC>")
endif()
mark_as_advanced(LibSodium_INCLUDE_DIR LibSodium_LIBRARY)
