# SPDX-License-Identifier: MIT
# The registration scripts, one per class, made at configure time from class.rgs.in and the rows of
# class_rows.inc. Included from the root of the module. What comes out, in ${RASTEL_SCRIPT_FOLDER}:
#   <number>.rgs          the scripts
#   scripts.rc            includes them for the resource compiler
#   script_rows.inc       holds them for a host that keeps no resource section with the module
#   RastelKLP.Classes.manifest  the same classes for programs that use the module without registering
#                         it, on Windows beside the module
#   toolbox_bitmap.inc    the bytes of the toolbox picture, without the header of its file, for the
#                         same purpose
# and script_files names the scripts.
set(RASTEL_SCRIPT_FOLDER ${CMAKE_CURRENT_BINARY_DIR}/registration)
set(script_rows "")
set(script_includes "")
set(script_files "")
set(MANIFEST_CLASSES "")

set(identifier_file ${PROJECT_SOURCE_DIR}/interfaces/identifiers.h)
file(READ ${identifier_file} identifiers)

# rastel_identifier(<name> <variable>): an identifier of the header as text, with its braces.
function(rastel_identifier name variable)
  if(NOT identifiers MATCHES " ${name}{([^}]*)}")
    message(FATAL_ERROR "${identifier_file} has no ${name}")
  endif()
  string(REGEX MATCHALL "0x[0-9A-F]+" parts "${CMAKE_MATCH_1}")
  string(REPLACE "0x" "" parts "${parts}")
  list(POP_FRONT parts data1 data2 data3 byte0 byte1)
  list(JOIN parts "" bytes)
  set(${variable} "{${data1}-${data2}-${data3}-${byte0}${byte1}-${bytes}}" PARENT_SCOPE)
endfunction()

rastel_identifier(LIBID_RASTEL_KLP_Lib LIBRARY_ID)
file(STRINGS class_rows.inc class_rows REGEX "^CLASS_ROW")
foreach(row IN LISTS class_rows)
  if(NOT row MATCHES "^CLASS_ROW\\(([0-9]+), ([A-Za-z]+), [^,]+, \"([^\"]+)\", ([0-9]+), \"([^\"]+)\"\\)$")
    message(FATAL_ERROR "class_rows.inc: ${row}")
  endif()
  set(SCRIPT ${CMAKE_MATCH_1})
  set(CLASS ${CMAKE_MATCH_2})
  set(PROG_ID ${CMAKE_MATCH_3})
  set(VERSIONED_PROG_ID ${PROG_ID}.${CMAKE_MATCH_4})
  set(DESCRIPTION ${CMAKE_MATCH_5})
  rastel_identifier(CLSID_${CLASS} CLASS_ID)
  set(CATEGORY "")
  if(CLASS STREQUAL AttributeBstrMapKLP)
    # The one script that declares the category on which all others rely.
    file(READ frame/registration/category.rgs CATEGORY)
  endif()
  configure_file(frame/registration/class.rgs.in ${RASTEL_SCRIPT_FOLDER}/${SCRIPT}.rgs @ONLY)
  file(READ ${RASTEL_SCRIPT_FOLDER}/${SCRIPT}.rgs text)
  string(APPEND script_rows "SCRIPT_ROW(${SCRIPT}, R\"rgs(${text})rgs\")\n")
  string(APPEND script_includes "${SCRIPT} REGISTRY \"${SCRIPT}.rgs\"\n")
  list(APPEND script_files ${RASTEL_SCRIPT_FOLDER}/${SCRIPT}.rgs)
  string(APPEND MANIFEST_CLASSES "
    <comClass clsid=\"${CLASS_ID}\" threadingModel=\"Both\" tlbid=\"${LIBRARY_ID}\"
              progid=\"${VERSIONED_PROG_ID}\" description=\"${DESCRIPTION}\">
      <progid>${PROG_ID}</progid>
    </comClass>")
endforeach()
if(WIN32)
  configure_file(frame/registration/classes.manifest.in
                 ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/RastelKLP.Classes.manifest @ONLY)
endif()

file(CONFIGURE OUTPUT ${RASTEL_SCRIPT_FOLDER}/scripts.rc CONTENT "${script_includes}" @ONLY)
file(CONFIGURE OUTPUT ${RASTEL_SCRIPT_FOLDER}/script_rows.inc CONTENT "${script_rows}" @ONLY)

file(READ frame/registration/toolbox.bmp bitmap OFFSET 14 HEX)
string(REGEX REPLACE "(..)" "0x\\1," bitmap "${bitmap}")
string(REGEX REPLACE "(................................................................................)"
       "\\1\n" bitmap "${bitmap}")
file(CONFIGURE OUTPUT ${RASTEL_SCRIPT_FOLDER}/toolbox_bitmap.inc CONTENT "${bitmap}" @ONLY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             class_rows.inc frame/registration/category.rgs frame/registration/toolbox.bmp
             ${identifier_file})
