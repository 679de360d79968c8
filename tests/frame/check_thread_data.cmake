# SPDX-License-Identifier: MIT
# Fails if a thread's first use of a library's own thread data asks for memory: the loader ends the
# process where there is none.
#   cmake -DTOOL=<readelf> -DLIBRARY=<file> -P check_thread_data.cmake
execute_process(COMMAND ${TOOL} -rW ${LIBRARY} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
foreach(relocation IN ITEMS DTPMOD TLSDESC)
  string(FIND "${output}" ${relocation} at)
  if(NOT at EQUAL -1)
    message(FATAL_ERROR "${LIBRARY} has thread data in a block of its own: ${relocation}")
  endif()
endforeach()
