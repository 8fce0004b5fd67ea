# Configures (once) and builds the clang project of the fuzz targets. Run by CTest with
# -DSOURCE_DIR, -DBINARY_DIR and -DCXX.
if(NOT EXISTS ${BINARY_DIR}/CMakeCache.txt)
    execute_process(
        COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${BINARY_DIR}
            -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_BUILD_TYPE=RelWithDebInfo
        RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "Configuring the fuzz targets failed")
    endif()
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${BINARY_DIR} --parallel 2 RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "Building the fuzz targets failed")
endif()
