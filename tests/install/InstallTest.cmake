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

# One project folder on the include path: every header under include/kalvex/, the stand-ins
# under include/kalvex/platform/, nothing nested twice and nothing generic at the top.
foreach(header kalvex/Kalvex.h kalvex/fields/Field.h kalvex/platform/osg/Vector.h
        kalvex/platform/harnel/BinStream.h)
  if(NOT EXISTS ${prefix}/include/${header})
    message(FATAL_ERROR "installed tree lacks include/${header}")
  endif()
endforeach()
file(GLOB top RELATIVE ${prefix}/include ${prefix}/include/*)
if(NOT top STREQUAL "kalvex")
  message(FATAL_ERROR "include/ holds more than kalvex/: ${top}")
endif()
if(EXISTS ${prefix}/include/kalvex/kalvex)
  message(FATAL_ERROR "installed tree nests include/kalvex/kalvex")
endif()

# The CMake package, through the example host.
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples -B ${WORK_DIR}/examples -G Ninja
    -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/examples)
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/lib ${WORK_DIR}/examples/kalvex-host)
if(NOT last_output MATCHES "system stopped")
  message(FATAL_ERROR "example host did not run through:\n${last_output}")
endif()

# A consumer that sets no C++ standard of its own (g++ 12 would compile it as C++17): the target
# must carry C++20 to it. It spells a platform header as every consumer does.
file(WRITE ${WORK_DIR}/plain/CMakeLists.txt [=[
cmake_minimum_required(VERSION 3.25)
project(PlainConsumer LANGUAGES CXX)
find_package(Kalvex 2 REQUIRED)
add_executable(plain main.cpp)
target_link_libraries(plain PRIVATE Kalvex::kalvex)
]=])
file(WRITE ${WORK_DIR}/plain/main.cpp [=[
#include <kalvex/Kalvex.h>
#include <kalvex/platform/osg/Vector.h>

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
    Kalvex::System& sys = Kalvex::System::the();
    sys.init(argc, argv, 0);
    Kalvex::SmartPtr<Kalvex::NodeNameSpace> scope =
        new Kalvex::NodeNameSpace("plain", nullptr, false);
    Kalvex::SmartPtr<Kalvex::Node> node =
        Kalvex::Node::_type.createNode(scope.get(), "plain", Kalvex::CreatorSystem);
    Kalvex::Field* field = Kalvex::FieldType::create(Kalvex::FieldType::dataType("MFVec3f"), *node);
    field->setValueByStr("1 2 3");
    std::string text;
    Kalvex::osg::Vec3f v(1, 2, 3);
    std::printf("%s|%g\n", field->getStrValue(text).c_str(), double(v.length()));
    delete field;
    node = nullptr;
    scope = nullptr;
    sys.exit();
    return 0;
}
]=])
run(${CMAKE_COMMAND} -S ${WORK_DIR}/plain -B ${WORK_DIR}/plain/build -G Ninja
    -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/plain/build)
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/lib ${WORK_DIR}/plain/build/plain)
if(NOT last_output STREQUAL "1.000000, 2.000000, 3.000000|3.74166\n")
  message(FATAL_ERROR "plain consumer printed:\n${last_output}")
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
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/lib/pkgconfig pkg-config --variable=includedir kalvex)
string(STRIP "${last_output}" includedir)
file(REAL_PATH ${includedir} includedir_real)
file(REAL_PATH ${prefix}/include prefix_include)
string(FIND " ${flags} " " -I${includedir} " at)
if(NOT includedir_real STREQUAL prefix_include OR at EQUAL -1)
  message(FATAL_ERROR "pkg-config must give -I<prefix>/include, gives: ${flags}")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
run(c++ ${WORK_DIR}/pc/main.cpp -o ${WORK_DIR}/pc/main ${flags})
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/lib ${WORK_DIR}/pc/main)
message(STATUS "installed package works")
