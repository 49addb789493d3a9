# Run with cmake -P: install, then build and run the consumer both ways.
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
    endif()
    set(last_output "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
if(TOOL)
    run(${prefix}/bin/corvane --help)
    if(NOT last_output MATCHES "inspect")
        message(FATAL_ERROR "the installed corvane tool printed no usage:\n${last_output}")
    endif()
endif()

set(flags "")
if(SANITIZE)
    set(flags "-fsanitize=address,undefined")
endif()

# Through the CMake package.
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/cmake-build -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${flags}" -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run(${WORK_DIR}/cmake-build/consumer)
message(STATUS "cmake consumer: ${last_output}")

# Through pkg-config.
set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig:${prefix}/lib/x86_64-linux-gnu/pkgconfig)
run(pkg-config --cflags --libs corvane)
string(STRIP "${last_output}" pc_flags)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
separate_arguments(extra UNIX_COMMAND "${flags}")
run(${CXX} ${extra} ${SOURCE_DIR}/consumer.cpp ${pc_flags} -o ${WORK_DIR}/pc-consumer)
file(GLOB libdirs LIST_DIRECTORIES true ${prefix}/lib ${prefix}/lib/*-linux-gnu)
string(REPLACE ";" ":" libpath "${libdirs}")
set(ENV{LD_LIBRARY_PATH} ${libpath})
run(${WORK_DIR}/pc-consumer)
message(STATUS "pkg-config consumer: ${last_output}")
