# Configures, builds and runs the consumer project. WAY is find_package (against an installation made here
# from BUILD), package (against the one below PREFIX) or add_subdirectory (of ROOT). EMULATOR runs programs
# that TOOLCHAIN makes for another system.
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "failed (${status}): ${ARGN}")
    endif()
endfunction()

file(REMOVE_RECURSE "${WORK}")
set(arguments "-DWAY=find_package")
if(WAY STREQUAL "find_package")
    run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${WORK}/prefix")
    # Moved: nothing in the package may name the place it was installed to first.
    file(RENAME "${WORK}/prefix" "${WORK}/moved prefix")
    set(PREFIX "${WORK}/moved prefix")
elseif(WAY STREQUAL "add_subdirectory")
    set(arguments "-DWAY=add_subdirectory" "-DLIBRARY_SOURCE=${ROOT}")
endif()
if(PREFIX)
    file(GLOB_RECURSE config "${PREFIX}/*/SoftwareUpdateClientConfig.cmake")
    cmake_path(GET config PARENT_PATH config)
    list(APPEND arguments "-DSoftwareUpdateClient_DIR=${config}")
endif()
if(LAUNCHER)
    list(APPEND arguments "-DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}")
endif()
if(TOOLCHAIN)
    list(APPEND arguments "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}")
else()
    list(APPEND arguments "-DCMAKE_CXX_COMPILER=${COMPILER}")
endif()
run("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}/consumer" -B "${WORK}/build" -G "${GENERATOR}"
    "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}" ${arguments})
run("${CMAKE_COMMAND}" --build "${WORK}/build")
file(GLOB consumer "${WORK}/build/consumer" "${WORK}/build/consumer.exe")
file(GLOB libraries "${PREFIX}/bin/*.dll")
if(libraries)
    file(COPY ${libraries} DESTINATION "${WORK}/build") # where hosts ship them
endif()
run(${EMULATOR} "${consumer}")
# Beside the host's program and a program itself; without arguments it refuses to do anything.
execute_process(COMMAND ${EMULATOR} "${WORK}/build/UpdateInstaller"
    RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE text)
if(NOT status EQUAL 2 OR NOT text MATCHES "option missing: -oldDir")
    message(FATAL_ERROR "UpdateInstaller has not been deployed (${status}): ${text}")
endif()
