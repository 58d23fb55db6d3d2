# The sources that the seeded defects are tried on: what the crash program is made
# of, and those tests of backends/ that a mutant names. `run` copies this file into
# its copy of the sources as CMakeLists.txt.
cmake_minimum_required(VERSION 3.25)
project(vmr_mutants LANGUAGES C CXX)

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(VMR_HOST_TARGET vmr_host)

include(cmake/VmrTargets.cmake)
foreach(folder host store backends tests/crash)
  add_subdirectory(${folder})
endforeach()

file(GLOB tests CONFIGURE_DEPENDS tests/backends/*_test.cc)
if(tests)
  find_package(GTest REQUIRED)
  file(GLOB support CONFIGURE_DEPENDS tests/support/*.cc)
  add_executable(vmr_named_tests ${tests} ${support})
  target_link_libraries(vmr_named_tests PRIVATE vmr_backends GTest::gmock GTest::gtest_main)
endif()
