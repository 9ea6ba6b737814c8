file(REMOVE_RECURSE ${WORK_DIR})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGN}\n${output}")
  endif()
endfunction()

set(prefix ${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# Only public headers: no Linux backend, no spdlog, no generated protobuf code, none of the private
# facts and helpers.
file(GLOB_RECURSE installed RELATIVE ${prefix}/include ${prefix}/include/*)
foreach(header IN LISTS installed)
  if(header MATCHES "platform/linux/|spdlog|\\.pb\\.h$|/ProToolsTransport\\.h$|/ProToolsUI\\.h$|/TrackUI\\.h$|/Utf8Text\\.h$|/SavedCopy\\.h$|/BlackBox\\.h$|/PassVerdict\\.h$|/Log\\.h$")
    message(FATAL_ERROR "internal header installed: ${header}")
  endif()
endforeach()

# As a CMake project would use it; the consumer also compiles every installed header on its own.
run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    "-DCMAKE_EXE_LINKER_FLAGS=${EXE_LINKER_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)

# As a Makefile would use it: pkg-config, found from wherever the prefix is.
file(GLOB pcfile ${prefix}/lib*/pkgconfig/ZAR_DAWControl.pc ${prefix}/lib/*/pkgconfig/ZAR_DAWControl.pc)
if(NOT pcfile)
  message(FATAL_ERROR "no ZAR_DAWControl.pc installed")
endif()
get_filename_component(pcdir ${pcfile} DIRECTORY)
execute_process(COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pcdir} pkg-config --static --cflags --libs ZAR_DAWControl
  RESULT_VARIABLE result OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "pkg-config does not know ZAR_DAWControl")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(extra UNIX_COMMAND "${CXX_FLAGS} ${EXE_LINKER_FLAGS}")
run(${CXX_COMPILER} ${extra} ${CONSUMER_SOURCE_DIR}/main.cpp -o ${WORK_DIR}/pkgconfig-consumer ${flags})
run(${WORK_DIR}/pkgconfig-consumer)
