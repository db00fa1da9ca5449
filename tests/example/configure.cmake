# Configures the tree anew with another chip and builds the door to it, which must then name that chip
# alone. Usage: cmake -DSOURCE=dir -DBUILD=dir -DNM=program -DCXX=compiler -DCC=compiler -P configure.cmake
file(REMOVE_RECURSE ${BUILD})
execute_process(
  COMMAND ${CMAKE_COMMAND} -G Ninja -S ${SOURCE} -B ${BUILD} -DCMAKE_C_COMPILER=${CC}
          -DCMAKE_CXX_COMPILER=${CXX} -DQUON_MCU_CHIP=example -DQUON_TOOLS=OFF -DQUON_TESTS=OFF
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${BUILD} --target mcu_ops
                OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${NM} ${BUILD}/lib/libmcu_ops.a
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
if(NOT symbols MATCHES "example_get_ops_handle" OR symbols MATCHES "hi3861l")
  message(FATAL_ERROR "The door names another driver:\n${symbols}")
endif()
