# Installs the built framework to a fresh prefix and builds the example host
# against it with find_package(LNQ), then runs the host once.
#   cmake -DLNQ_BUILD_DIR=... -DLNQ_SOURCE_DIR=... -DWORK_DIR=... -P BuildHost.cmake
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${what} failed (${rc}):\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

run("install" ${CMAKE_COMMAND} --install ${LNQ_BUILD_DIR} --prefix ${prefix})
foreach(f include/lnq/data/DataSet.h include/lnq/grid/core/Ctrl_LNQStringGrid.h
          include/lnq/data/Backrestoresqldb.h lib/cmake/LNQ/LNQConfig.cmake
          lib/cmake/LNQ/LNQConfigVersion.cmake lib/cmake/LNQ/LNQTargets.cmake lib/liblnq_data.a bin/lnq)
  if(NOT EXISTS ${prefix}/${f})
    message(FATAL_ERROR "the package lacks ${f}")
  endif()
endforeach()

set(launcher)
find_program(CCACHE ccache)
if(CCACHE)
  set(launcher -DCMAKE_CXX_COMPILER_LAUNCHER=${CCACHE})
endif()
run("configure the host" ${CMAKE_COMMAND} -S ${LNQ_SOURCE_DIR}/examples/host -B ${WORK_DIR}/build -G Ninja
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_PREFIX_PATH=${prefix} ${launcher})
run("build the host" ${CMAKE_COMMAND} --build ${WORK_DIR}/build -j2)
run("run the host" ${WORK_DIR}/build/lnqhost --check)
if(NOT last_output STREQUAL "rows 100\n")
  message(FATAL_ERROR "the host showed: ${last_output}")
endif()
message(STATUS "host built against ${prefix}: ${last_output}")
file(REMOVE_RECURSE ${prefix})
