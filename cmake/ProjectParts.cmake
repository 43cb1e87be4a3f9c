# Builds one shared library from the folders: each folder is an OBJECT library ("part") that links
# only what it may use, and the library consists of all parts.

set(SOFTWAREUPDATE_ROOT "${CMAKE_CURRENT_SOURCE_DIR}")

# Compiler settings of everything built here; not passed on to hosts.
add_library(softwareupdate_settings INTERFACE)
target_compile_features(softwareupdate_settings INTERFACE cxx_std_17)
target_compile_definitions(softwareupdate_settings INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING
    QT_NO_CAST_FROM_BYTEARRAY QT_NO_FOREACH
    $<$<PLATFORM_ID:Windows>:NOMINMAX;WIN32_LEAN_AND_MEAN;UNICODE;_UNICODE>)
target_include_directories(softwareupdate_settings INTERFACE "${SOFTWAREUPDATE_ROOT}")
if(MSVC)
    target_compile_options(softwareupdate_settings INTERFACE /W4 /utf-8 /permissive- /Zc:__cplusplus)
else()
    target_compile_options(softwareupdate_settings INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual)
endif()
# Qt's QSKIP() calls a variadic macro without variadic arguments.
target_compile_options(softwareupdate_settings INTERFACE
    $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-zero-variadic-macro-arguments>)
# A single STB_GNU_UNIQUE symbol would keep the library loaded after dlclose().
target_compile_options(softwareupdate_settings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)

# softwareupdate_add_part(<name> [SOURCES ...] [PUBLIC_HEADERS ...] [PRIVATE_HEADERS ...]
#                         [LINK ...] [LINK_PRIVATE ...])
# The OBJECT library softwareupdate_<name>. PUBLIC_HEADERS are installed and compiled alone.
function(softwareupdate_add_part name)
    cmake_parse_arguments(arg "" "" "SOURCES;PUBLIC_HEADERS;PRIVATE_HEADERS;LINK;LINK_PRIVATE" ${ARGN})
    set(target softwareupdate_${name})
    add_library(${target} OBJECT ${arg_SOURCES} ${arg_PUBLIC_HEADERS} ${arg_PRIVATE_HEADERS})
    set_target_properties(${target} PROPERTIES
        AUTOMOC ON
        AUTOUIC ON
        POSITION_INDEPENDENT_CODE ON
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    # CMake adds what moc writes only when it generates, which is too late for the library if AUTOMOC is on for a
    # program in a folder above, as in a host's project.
    get_property(is_multi_config GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
    if(NOT is_multi_config)
        set(mocs "${CMAKE_CURRENT_BINARY_DIR}/${target}_autogen/mocs_compilation.cpp")
        set_source_files_properties("${mocs}" PROPERTIES GENERATED ON SKIP_AUTOGEN ON)
        target_sources(${target} PRIVATE "${mocs}")
    endif()
    target_compile_definitions(${target} PRIVATE SOFTWAREUPDATE_EXPORTS)
    target_link_libraries(${target} PUBLIC ${arg_LINK} PRIVATE softwareupdate_settings ${arg_LINK_PRIVATE})
    list(TRANSFORM arg_PUBLIC_HEADERS PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
    set_property(TARGET ${target} PROPERTY SOFTWAREUPDATE_PUBLIC_HEADERS ${arg_PUBLIC_HEADERS})
endfunction()

# softwareupdate_add_library(<name> PARTS ... LINK ...)
# The shared library made of the parts, with the headers of all of them as its header set.
function(softwareupdate_add_library name)
    cmake_parse_arguments(arg "" "" "PARTS;LINK" ${ARGN})
    add_library(${name} SHARED)
    add_library(${name}::${name} ALIAS ${name})
    set(headers)
    foreach(part IN LISTS arg_PARTS)
        # PRIVATE and without AUTOMOC: the parts contain their moc objects.
        target_link_libraries(${name} PRIVATE softwareupdate_${part})
        get_target_property(part_headers softwareupdate_${part} SOFTWAREUPDATE_PUBLIC_HEADERS)
        if(part_headers)
            list(APPEND headers ${part_headers})
        endif()
    endforeach()
    target_link_libraries(${name} PUBLIC ${arg_LINK})
    if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
        set(map "${SOFTWAREUPDATE_ROOT}/cmake/library.map")
        target_link_options(${name} PRIVATE "-Wl,--version-script=${map}")
        set_property(TARGET ${name} PROPERTY LINK_DEPENDS "${map}")
    endif()
    target_compile_features(${name} PUBLIC cxx_std_17)
    target_sources(${name} PUBLIC
        FILE_SET HEADERS BASE_DIRS "${SOFTWAREUPDATE_ROOT}" FILES ${headers})
    set_target_properties(${name} PROPERTIES
        AUTOMOC OFF
        OUTPUT_NAME "${name}${SOFTWAREUPDATE_QT_SUFFIX}"
        LINKER_LANGUAGE CXX
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        VERIFY_INTERFACE_HEADER_SETS ON)
endfunction()
