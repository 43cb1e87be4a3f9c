# The release archives that `./run package` makes: ZIP for Windows, TGZ and DEB for Linux.
set(CPACK_PACKAGE_NAME "softwareupdateclient")
set(CPACK_PACKAGE_VENDOR "${PROJECT_NAME}")
set(CPACK_PACKAGE_CONTACT "${SOFTWAREUPDATE_MAKER_HOST}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_FILE_NAME
    "SoftwareUpdateClient-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}")
set(CPACK_RESOURCE_FILE_LICENSE "${CMAKE_CURRENT_SOURCE_DIR}/LICENSE")
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_NAME "libsoftwareupdateclient-dev")
set(CPACK_DEBIAN_PACKAGE_SECTION "libdevel")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qtbase5-dev") # for the headers
if(WIN32)
    set(CPACK_GENERATOR ZIP)
else()
    set(CPACK_GENERATOR TGZ DEB)
endif()
include(CPack)

# The licences of what is linked, statically too: those of the libraries, and of the compiler's own.
set(license_dir "${CMAKE_INSTALL_DOCDIR}/licenses")
install(FILES LICENSE DESTINATION "${license_dir}" RENAME SoftwareUpdateClient.txt)
if(SOFTWAREUPDATE_WINDOWS_SYSROOT)
    # The demo's HTTP server is not part of what is installed.
    install(DIRECTORY "${SOFTWAREUPDATE_WINDOWS_SYSROOT}/licenses/" DESTINATION "${license_dir}"
        PATTERN "cpp-httplib*" EXCLUDE)
    set(packages mingw-w64-common gcc-mingw-w64-base)
else()
    set(packages libc6-dev libdeflate-dev libsodium-dev libstdc++-12-dev libzip-dev qtbase5-dev zlib1g-dev)
endif()
file(MAKE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/licenses")
foreach(package IN LISTS packages)
    # Where the system's packages are others, whoever packs adds what applies.
    if(EXISTS "/usr/share/doc/${package}/copyright")
        file(COPY_FILE "/usr/share/doc/${package}/copyright"
            "${CMAKE_CURRENT_BINARY_DIR}/licenses/${package}.txt" ONLY_IF_DIFFERENT)
        install(FILES "${CMAKE_CURRENT_BINARY_DIR}/licenses/${package}.txt" DESTINATION "${license_dir}")
    endif()
endforeach()
