# For Find modules of libraries that ship no CMake package.
include(FindPackageHandleStandardArgs)

# softwareupdate_find_plain_library(<package> <header> <library name> ...): <package>::<package> by search.
macro(softwareupdate_find_plain_library package header)
    find_path(${package}_INCLUDE_DIR "${header}")
    find_library(${package}_LIBRARY NAMES ${ARGN})
    find_package_handle_standard_args(${package} REQUIRED_VARS ${package}_LIBRARY ${package}_INCLUDE_DIR)
    if(${package}_FOUND AND NOT TARGET ${package}::${package})
        add_library(${package}::${package} UNKNOWN IMPORTED)
        set_target_properties(${package}::${package} PROPERTIES
            IMPORTED_LOCATION "${${package}_LIBRARY}"
            INTERFACE_INCLUDE_DIRECTORIES "${${package}_INCLUDE_DIR}")
    endif()
    mark_as_advanced(${package}_INCLUDE_DIR ${package}_LIBRARY)
endmacro()
