# Installs a build into a folder of its own, moves that folder, and builds and runs the program
# beside this file with it: through the CMake package and through pkg-config.
#
#   cmake -DBUILD=<build folder> -DCONFIG=<its type> -DGENERATOR=<name> -DCXX=<compiler>
#         -DLIBDIR=<lib, relative> -DWORK=<folder for all that is made> -P run.cmake
cmake_minimum_required(VERSION 3.24)
set(expected "FF336699\n20010008\n")

function(run)
  execute_process(COMMAND ${ARGV} OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    list(JOIN ARGV " " command)
    message(FATAL_ERROR "${command}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

function(run_consumer)
  run(${ARGV})
  if(NOT output STREQUAL expected)
    message(FATAL_ERROR "${ARGV} printed\n${output}instead of\n${expected}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --config ${CONFIG} --prefix ${WORK}/installed)
# An installed copy may be moved, so none of its files may remember where it was made.
set(prefix "${WORK}/a prefix")
file(RENAME ${WORK}/installed ${prefix})

file(GLOB_RECURSE internals ${prefix}/*_internal.h ${prefix}/*/detail/*)
if(internals)
  message(FATAL_ERROR "Internal headers are installed: ${internals}")
endif()

run(${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR} -B ${WORK}/build -G ${GENERATOR}
  -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_BUILD_TYPE=${CONFIG})
run(${CMAKE_COMMAND} --build ${WORK}/build --config ${CONFIG})
run_consumer(${WORK}/build/consumer)
run_consumer(${WORK}/build/consumer_static)

find_program(PKG_CONFIG NAMES pkg-config pkgconf REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
run(${PKG_CONFIG} --cflags --libs kxwcmn)
separate_arguments(flags UNIX_COMMAND "${output}")
run(${CXX} -std=c++20 ${CMAKE_CURRENT_LIST_DIR}/consumer.cpp -o ${WORK}/consumer_pc ${flags})
set(ENV{LD_LIBRARY_PATH} ${prefix}/${LIBDIR})
run_consumer(${WORK}/consumer_pc)
