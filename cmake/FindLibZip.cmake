# LibZip::LibZip from pkg-config if available, otherwise by search. Debian's own CMake package of
# libzip refers to programs that are not installed, and cross-build roots often have none.
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND AND NOT CMAKE_CROSSCOMPILING)
    pkg_check_modules(PC_LIBZIP QUIET libzip)
endif()
find_path(LibZip_INCLUDE_DIR zip.h HINTS ${PC_LIBZIP_INCLUDE_DIRS})
find_path(LibZip_CONFIG_DIR zipconf.h HINTS ${PC_LIBZIP_INCLUDE_DIRS} ${LibZip_INCLUDE_DIR})
find_library(LibZip_LIBRARY zip HINTS ${PC_LIBZIP_LIBRARY_DIRS})
if(LibZip_CONFIG_DIR)
    file(STRINGS "${LibZip_CONFIG_DIR}/zipconf.h" version REGEX "define LIBZIP_VERSION \"")
    string(REGEX REPLACE ".*\"([0-9.]+).*\".*" "\\1" LibZip_VERSION "${version}")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibZip
    REQUIRED_VARS LibZip_LIBRARY LibZip_INCLUDE_DIR LibZip_CONFIG_DIR
    VERSION_VAR LibZip_VERSION)

if(LibZip_FOUND AND NOT TARGET LibZip::LibZip)
    add_library(LibZip::LibZip UNKNOWN IMPORTED)
    set_target_properties(LibZip::LibZip PROPERTIES
        IMPORTED_LOCATION "${LibZip_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${LibZip_INCLUDE_DIR};${LibZip_CONFIG_DIR}")
    if(WIN32 AND LibZip_LIBRARY MATCHES "\\.a$")
        # Only pkg-config knows the dependencies of a static libzip.
        find_library(LibZip_ZLIB_LIBRARY NAMES z zlib REQUIRED)
        set_property(TARGET LibZip::LibZip PROPERTY
            INTERFACE_LINK_LIBRARIES "${LibZip_ZLIB_LIBRARY};bcrypt;advapi32")
        set_property(TARGET LibZip::LibZip PROPERTY INTERFACE_COMPILE_DEFINITIONS ZIP_STATIC)
    endif()
endif()
mark_as_advanced(LibZip_INCLUDE_DIR LibZip_CONFIG_DIR LibZip_LIBRARY LibZip_ZLIB_LIBRARY)
