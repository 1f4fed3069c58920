# Runs as a script: cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -P InstallTest.cmake
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# The CMake package, through the example host.
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples -B ${WORK_DIR}/examples -G Ninja
    -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/examples)
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/lib ${WORK_DIR}/examples/kalvex-host)
if(NOT last_output MATCHES "system stopped")
  message(FATAL_ERROR "example host did not run through:\n${last_output}")
endif()

# pkg-config and nothing but the umbrella header.
file(WRITE ${WORK_DIR}/pc/main.cpp [=[
#include <kalvex/Kalvex.h>
int main(int argc, char** argv) {
    Kalvex::System& sys = Kalvex::System::the();
    sys.init(argc, argv, 0);
    Kalvex::System::runContextBag();
    sys.exit();
    return 0;
}
]=])
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/lib/pkgconfig pkg-config --cflags --libs kalvex)
string(STRIP "${last_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(c++ ${WORK_DIR}/pc/main.cpp -o ${WORK_DIR}/pc/main ${flags})
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/lib ${WORK_DIR}/pc/main)
message(STATUS "installed package works")
