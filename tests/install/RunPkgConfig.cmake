# cmake -DBUILD_DIR=... -DWORK_DIR=... -DSOURCE=... -DCXX_COMPILER=...
#       -DPKG_CONFIG=... [-DEXTRA_FLAGS=...] -P RunPkgConfig.cmake
#
# Installs the build into a fresh prefix, asks pkg-config for the flags of
# FlowspecStatedbTypes, compiles and links SOURCE with them alone, and runs
# it. Without pkg-config the test says "skipped:", which CTest reports as a
# skipped test.
if(NOT PKG_CONFIG)
  message(FATAL_ERROR "skipped: pkg-config is not installed (apt-get install pkg-config)")
endif()
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run out_var)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(${out_var} "${out}" PARENT_SCOPE)
endfunction()

run(ignored ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
file(GLOB_RECURSE pc_files ${prefix}/*/FlowspecStatedbTypes.pc)
list(LENGTH pc_files n)
if(NOT n EQUAL 1)
  message(FATAL_ERROR "expected one installed FlowspecStatedbTypes.pc, found: ${pc_files}")
endif()
get_filename_component(pc_dir ${pc_files} DIRECTORY)
get_filename_component(cmake_dir ${pc_dir}/../cmake/FlowspecStatedbTypes ABSOLUTE)
if(NOT EXISTS ${cmake_dir}/FlowspecStatedbTypesConfig.cmake)
  message(FATAL_ERROR "the .pc file is not beside the CMake package (${cmake_dir})")
endif()

set(ENV{PKG_CONFIG_PATH} ${pc_dir})
run(flags ${PKG_CONFIG} --cflags --libs FlowspecStatedbTypes)
separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(extra UNIX_COMMAND "${EXTRA_FLAGS}")
run(ignored ${CXX_COMPILER} -std=c++20 ${extra} ${SOURCE} -o ${WORK_DIR}/consumer ${flags})
run(libdir ${PKG_CONFIG} --variable=libdir FlowspecStatedbTypes)
set(ENV{LD_LIBRARY_PATH} ${libdir})
run(said ${WORK_DIR}/consumer)
if(NOT said STREQUAL "ok")
  message(FATAL_ERROR "the program said: ${said}")
endif()
message(STATUS "built with: ${flags}")
