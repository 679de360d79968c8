# SPDX-License-Identifier: MIT
# Fails unless a library exports exactly four names.
#   cmake -DTOOL=<nm or objdump> -DLIBRARY=<file> -P check_exports.cmake
cmake_path(GET LIBRARY EXTENSION LAST_ONLY extension)
if(extension STREQUAL ".dll")
  execute_process(COMMAND ${TOOL} -p ${LIBRARY} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  string(FIND "${output}" "[Ordinal/Name Pointer] Table" start)
  string(SUBSTRING "${output}" ${start} -1 output)
  string(REGEX MATCHALL "\n\t\\[[^\n]*" lines "${output}")
else()
  execute_process(COMMAND ${TOOL} -D --defined-only --format=just-symbols ${LIBRARY}
                  OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[^\n]+" lines "${output}")
endif()
list(TRANSFORM lines REPLACE ".*[ \t]" "")
list(TRANSFORM lines STRIP)
list(SORT lines)
set(expected DllCanUnloadNow DllGetClassObject DllRegisterServer DllUnregisterServer)
if(NOT lines STREQUAL expected)
  message(FATAL_ERROR "${LIBRARY} exports: ${lines}")
endif()
