# The installed tree: headers in a folder named after the package with the folders of the source tree, so
# that a host writes the same include lines as the library itself, and a CMake package beside it.
include(CMakePackageConfigHelpers)
set(package ${SOFTWAREUPDATE_PACKAGE})
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/${package}")
set(installer_dir "${CMAKE_INSTALL_BINDIR}")
if(SOFTWAREUPDATE_QT_SUFFIX)
    set(installer_dir "${CMAKE_INSTALL_LIBEXECDIR}/${package}") # the other one is in the folder for programs
endif()

install(TARGETS SoftwareUpdateClient EXPORT ${package}Targets
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${package}")
install(EXPORT ${package}Targets
    NAMESPACE SoftwareUpdateClient::
    DESTINATION "${package_dir}")

if(SOFTWAREUPDATE_BUILD_INSTALLER)
    install(PROGRAMS "$<TARGET_FILE_DIR:softwareupdate_installer>/UpdateInstaller"
        DESTINATION "${installer_dir}")
endif()

list(JOIN SOFTWAREUPDATE_QT_COMPONENTS " " components)
configure_package_config_file(cmake/SoftwareUpdateClientConfig.cmake.in
    "${CMAKE_CURRENT_BINARY_DIR}/${package}Config.cmake"
    INSTALL_DESTINATION "${package_dir}"
    PATH_VARS installer_dir)
write_basic_package_version_file(
    "${CMAKE_CURRENT_BINARY_DIR}/${package}ConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES
    "${CMAKE_CURRENT_BINARY_DIR}/${package}Config.cmake"
    "${CMAKE_CURRENT_BINARY_DIR}/${package}ConfigVersion.cmake"
    cmake/SoftwareUpdateDeploy.cmake
    DESTINATION "${package_dir}")

# For hosts that are not built with CMake.
list(TRANSFORM SOFTWAREUPDATE_QT_COMPONENTS PREPEND "Qt${QT_VERSION_MAJOR}" OUTPUT_VARIABLE required)
list(JOIN required " " required)
file(RELATIVE_PATH to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/SoftwareUpdateClient.pc.in "${CMAKE_CURRENT_BINARY_DIR}/${package}.pc" @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${package}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
