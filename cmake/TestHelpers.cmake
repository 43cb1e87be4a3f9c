# softwareupdate_add_test(<name> PARTS ... [SOURCES ...] [LINK ...] [TIMEOUT seconds])
# One Qt Test executable from <name>.cpp. PARTS are the folders whose objects it links; objects are not
# passed on, so every one is named.
function(softwareupdate_add_test name)
    cmake_parse_arguments(arg "" "TIMEOUT" "PARTS;SOURCES;LINK" ${ARGN})
    add_executable(${name} ${name}.cpp ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
    target_compile_definitions(${name} PRIVATE SOFTWAREUPDATE_STATIC_DEFINE)
    target_include_directories(${name} PRIVATE "${SOFTWAREUPDATE_ROOT}/tests/support")
    target_link_libraries(${name} PRIVATE softwareupdate_settings Qt${QT_VERSION_MAJOR}::Test ${arg_LINK})
    foreach(part IN LISTS arg_PARTS)
        target_link_libraries(${name} PRIVATE softwareupdate_${part})
    endforeach()
    add_test(NAME ${name} COMMAND ${name})
    softwareupdate_set_test_environment(${name})
    if(arg_TIMEOUT)
        set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT})
    endif()
endfunction()

# The environment of every test: no display, UTF-8, a fixed hash seed, none of the machine's proxies,
# and a warning from Qt that the test did not announce fails it. Whether one takes too long is CTest's to say: Qt's
# own limit of five minutes is for all rows of a table together.
function(softwareupdate_set_test_environment name)
    set_tests_properties(${name} PROPERTIES
        FAIL_REGULAR_EXPRESSION "QWARN  :"
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;LC_ALL=C.UTF-8;QT_HASH_SEED=0;QTEST_FUNCTION_TIMEOUT=900000;XDG_RUNTIME_DIR=${CMAKE_BINARY_DIR}/runtime;XDG_CACHE_HOME=${CMAKE_BINARY_DIR}/cache;http_proxy=;https_proxy=;all_proxy=;no_proxy=")
endfunction()

file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/runtime")
file(CHMOD "${CMAKE_BINARY_DIR}/runtime" DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
    PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
