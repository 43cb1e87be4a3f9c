# The installed tree: headers in include/SoftwareUpdateClient with the folders of the source tree, so
# that a host writes the same include lines as the library itself, and a CMake package beside it.
include(CMakePackageConfigHelpers)
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/SoftwareUpdateClient")

install(TARGETS SoftwareUpdateClient EXPORT SoftwareUpdateClientTargets
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/SoftwareUpdateClient")
install(EXPORT SoftwareUpdateClientTargets
    NAMESPACE SoftwareUpdateClient::
    DESTINATION "${package_dir}")

if(SOFTWAREUPDATE_BUILD_INSTALLER)
    install(PROGRAMS "$<TARGET_FILE_DIR:softwareupdate_installer>/UpdateInstaller"
        DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()

configure_package_config_file(cmake/SoftwareUpdateClientConfig.cmake.in
    "${CMAKE_CURRENT_BINARY_DIR}/SoftwareUpdateClientConfig.cmake"
    INSTALL_DESTINATION "${package_dir}"
    PATH_VARS CMAKE_INSTALL_BINDIR)
write_basic_package_version_file(
    "${CMAKE_CURRENT_BINARY_DIR}/SoftwareUpdateClientConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES
    "${CMAKE_CURRENT_BINARY_DIR}/SoftwareUpdateClientConfig.cmake"
    "${CMAKE_CURRENT_BINARY_DIR}/SoftwareUpdateClientConfigVersion.cmake"
    cmake/SoftwareUpdateDeploy.cmake
    DESTINATION "${package_dir}")
