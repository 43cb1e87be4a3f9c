# The target SoftwareUpdate::Httplib, from the header-only or the packaged library.
include_guard(GLOBAL)
if(WIN32)
    find_path(CppHttplib_INCLUDE_DIR httplib.h REQUIRED)
    add_library(softwareupdate_httplib INTERFACE)
    target_include_directories(softwareupdate_httplib SYSTEM INTERFACE "${CppHttplib_INCLUDE_DIR}")
    target_link_libraries(softwareupdate_httplib INTERFACE ws2_32)
    add_library(SoftwareUpdate::Httplib ALIAS softwareupdate_httplib)
else()
    # Only pkg-config knows the definitions that the packaged library was built with.
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(CppHttplib REQUIRED IMPORTED_TARGET GLOBAL cpp-httplib)
    add_library(SoftwareUpdate::Httplib ALIAS PkgConfig::CppHttplib)
endif()
