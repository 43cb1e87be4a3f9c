# Also part of the installed package: nothing here may refer to the source tree.

# softwareupdate_deploy_installer(<target>)
# Copies the program "UpdateInstaller" beside the executable <target> after each build, where the library
# looks for it when a ZIP package is to replace the application. Call it in the folder that makes <target>.
function(softwareupdate_deploy_installer target)
    if(TARGET softwareupdate_installer)
        add_dependencies(${target} softwareupdate_installer)
        set(installer "$<TARGET_FILE_DIR:softwareupdate_installer>/UpdateInstaller")
    elseif(TARGET SoftwareUpdateClient::UpdateInstaller)
        set(installer "$<TARGET_FILE:SoftwareUpdateClient::UpdateInstaller>")
    else()
        message(FATAL_ERROR "softwareupdate_deploy_installer(${target}): the library was built with "
            "SOFTWAREUPDATE_BUILD_INSTALLER switched off")
    endif()
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND "${CMAKE_COMMAND}" -E copy_if_different
            "${installer}" "$<TARGET_FILE_DIR:${target}>/UpdateInstaller"
        VERBATIM)
endfunction()
