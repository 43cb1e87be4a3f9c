# Forms and translation catalogues. Both may contain @SOFTWAREUPDATE_MAKER_HOST@, which the build replaces by
# the maker's web host: the link's text is looked up in the catalogues by its English form, host included.

get_target_property(rcc_location Qt${QT_VERSION_MAJOR}::rcc LOCATION)
get_filename_component(softwareupdate_qt_tools_dir "${rcc_location}" DIRECTORY)
# The tool runs on the build machine. A Qt for another system includes rcc but often no lrelease.
find_program(SOFTWAREUPDATE_LRELEASE NAMES lrelease lrelease-qt${QT_VERSION_MAJOR}
    HINTS "${softwareupdate_qt_tools_dir}" "${softwareupdate_qt_tools_dir}/../bin" /usr/lib/qt${QT_VERSION_MAJOR}/bin
    NO_CMAKE_FIND_ROOT_PATH)
if(NOT SOFTWAREUPDATE_LRELEASE)
    message(FATAL_ERROR "lrelease, which compiles the translations, was not found "
        "(Debian: qttools5-dev-tools, qt6-l10n-tools); SOFTWAREUPDATE_LRELEASE may name it")
endif()

# softwareupdate_add_forms(<part> <form.ui> ...)
# Generates ui_<form>.h for the sources of the part. AUTOUIC would use the file with the placeholder.
function(softwareupdate_add_forms part)
    set(headers)
    foreach(form IN LISTS ARGN)
        get_filename_component(name "${form}" NAME_WE)
        set(configured "${CMAKE_CURRENT_BINARY_DIR}/forms/${form}")
        set(header "${CMAKE_CURRENT_BINARY_DIR}/forms/ui_${name}.h")
        configure_file("${form}" "${configured}" @ONLY)
        add_custom_command(OUTPUT "${header}"
            COMMAND Qt${QT_VERSION_MAJOR}::uic -o "${header}" "${configured}"
            DEPENDS "${configured}"
            COMMENT "Compiling form ${form}"
            VERBATIM)
        list(APPEND headers "${header}")
    endforeach()
    set_source_files_properties(${headers} PROPERTIES SKIP_AUTOGEN ON)
    target_sources(softwareupdate_${part} PRIVATE ${headers})
    target_include_directories(softwareupdate_${part} SYSTEM PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/forms")
    set_target_properties(softwareupdate_${part} PROPERTIES AUTOUIC OFF)
endfunction()

# softwareupdate_add_catalogues(<part> <catalogue.ts> ...)
# Compiles the catalogues into the part as the resources ":/Translations/<catalogue>.qm". The code that rcc
# writes registers them when the library is loaded and removes them when it is unloaded.
function(softwareupdate_add_catalogues part)
    set(dir "${CMAKE_CURRENT_BINARY_DIR}/translations")
    set(catalogues)
    set(entries)
    foreach(source IN LISTS ARGN)
        get_filename_component(name "${source}" NAME_WE)
        set(configured "${dir}/${name}.ts")
        set(catalogue "${dir}/${name}.qm")
        configure_file("${source}" "${configured}" @ONLY)
        # Without -removeidentical: a translation equal to its source text must be kept.
        add_custom_command(OUTPUT "${catalogue}"
            COMMAND "${SOFTWAREUPDATE_LRELEASE}" -silent "${configured}" -qm "${catalogue}"
            DEPENDS "${configured}"
            COMMENT "Compiling catalogue ${source}"
            VERBATIM)
        list(APPEND catalogues "${catalogue}")
        string(APPEND entries "    <file>${name}.qm</file>\n")
    endforeach()

    set(collection "${dir}/Translations.qrc")
    file(CONFIGURE OUTPUT "${collection}" @ONLY CONTENT
"<RCC>
  <qresource prefix=\"/Translations\">
@entries@  </qresource>
</RCC>
")
    set(code "${dir}/Translations.cpp")
    add_custom_command(OUTPUT "${code}"
        COMMAND Qt${QT_VERSION_MAJOR}::rcc --format-version 1 --no-compress --name SoftwareUpdateTranslations
            -o "${code}" "${collection}"
        DEPENDS "${collection}" ${catalogues}
        COMMENT "Embedding the catalogues"
        VERBATIM)
    set_source_files_properties("${code}" PROPERTIES SKIP_AUTOGEN ON)
    target_sources(softwareupdate_${part} PRIVATE "${code}")
endfunction()
