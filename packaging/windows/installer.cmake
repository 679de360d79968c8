# SPDX-License-Identifier: MIT
# Makes the installer of a build tree: cmake -D BUILD=… -D MAKENSIS=… -D VERSION=… -D OUTPUT=… -P this.
# The tree is installed into a folder of its own first; what lies there is what the installer brings,
# and what its uninstaller takes away.
set(stage ${BUILD}/installer/files)
file(REMOVE_RECURSE ${BUILD}/installer)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${stage} --strip
                COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)

file(GLOB_RECURSE entries LIST_DIRECTORIES true RELATIVE ${stage} ${stage}/*)
# Backwards, so that a folder comes behind what is in it.
list(SORT entries ORDER DESCENDING)
set(lines "")
foreach(entry IN LISTS entries)
  string(REPLACE "/" "\\" path ${entry})
  if(IS_DIRECTORY ${stage}/${entry})
    string(APPEND lines "RMDir \"$INSTDIR\\${path}\"\n")
  else()
    string(APPEND lines "Delete \"$INSTDIR\\${path}\"\n")
  endif()
endforeach()
file(WRITE ${BUILD}/installer/remove_files.nsh "${lines}")

execute_process(
  COMMAND ${MAKENSIS} -V2 -WX -DVERSION=${VERSION} -DSTAGE=${stage} -DLISTS=${BUILD}/installer
          -DOUTPUT=${OUTPUT} ${CMAKE_CURRENT_LIST_DIR}/installer.nsi
  COMMAND_ERROR_IS_FATAL ANY)
