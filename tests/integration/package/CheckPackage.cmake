# Run as a script: cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -P CheckPackage.cmake
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "failed: ${ARGN}\n${output}")
    endif()
    set(last_output "${output}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
run(${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${WORK_DIR}/build" "-DCMAKE_PREFIX_PATH=${prefix}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/consumer")
if(NOT last_output MATCHES "norvik-cloud [0-9]+\\.[0-9]+\\.[0-9]+ FileSystem")
    message(FATAL_ERROR "unexpected output of the consumer: ${last_output}")
endif()
message(STATUS "consumer: ${last_output}")

# The same program built with what pkg-config says, as a Makefile-based application would.
run(${CMAKE_COMMAND} -E env "PKG_CONFIG_PATH=${prefix}/lib/pkgconfig" pkg-config --cflags --libs norvikcloud)
separate_arguments(flags UNIX_COMMAND "${last_output}")
run(c++ "${SOURCE_DIR}/main.cpp" -o "${WORK_DIR}/consumer-pc" ${flags})
run("${WORK_DIR}/consumer-pc")
if(NOT last_output MATCHES "norvik-cloud [0-9]+\\.[0-9]+\\.[0-9]+ FileSystem")
    message(FATAL_ERROR "unexpected output of the pkg-config consumer: ${last_output}")
endif()
