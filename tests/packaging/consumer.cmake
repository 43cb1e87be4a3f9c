# Configures, builds and runs the consumer project. WAY is find_package (against an installation made here
# from BUILD) or add_subdirectory (of ROOT).
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "failed (${status}): ${ARGN}")
    endif()
endfunction()

file(REMOVE_RECURSE "${WORK}")
set(arguments "-DWAY=${WAY}")
if(WAY STREQUAL "find_package")
    run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${WORK}/prefix")
    # Moved: nothing in the package may name the place it was installed to first.
    file(RENAME "${WORK}/prefix" "${WORK}/moved prefix")
    list(APPEND arguments "-DCMAKE_PREFIX_PATH=${WORK}/moved prefix")
else()
    list(APPEND arguments "-DLIBRARY_SOURCE=${ROOT}")
endif()
if(LAUNCHER)
    list(APPEND arguments "-DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}")
endif()
run("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}/consumer" -B "${WORK}/build" -G "${GENERATOR}"
    "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}"
    ${arguments})
run("${CMAKE_COMMAND}" --build "${WORK}/build")
run("${WORK}/build/consumer")
# Beside the host's program and a program itself; without arguments it refuses to do anything.
execute_process(COMMAND "${WORK}/build/UpdateInstaller" RESULT_VARIABLE status ERROR_VARIABLE text)
if(NOT status EQUAL 2 OR NOT text MATCHES "option missing: -oldDir")
    message(FATAL_ERROR "UpdateInstaller has not been deployed (${status}): ${text}")
endif()
