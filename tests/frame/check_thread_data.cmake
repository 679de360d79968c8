# Fails if a thread's first use of a library's own thread data asks for memory: the loader ends the
# process where there is none.
#   cmake -DTOOL=<readelf> -DLIBRARY=<file> -P check_thread_data.cmake
execute_process(COMMAND ${TOOL} -rW ${LIBRARY} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
if(output MATCHES "[^\n]*(DTPMOD|TLSDESC)[^\n]*")
  message(FATAL_ERROR "${LIBRARY} has thread data of its own block: ${CMAKE_MATCH_0}")
endif()
