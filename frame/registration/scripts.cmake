# The registration scripts, one per class, made at configure time from class.rgs.in and the rows
# below. What comes out, in ${RASTEL_SCRIPT_FOLDER}:
#   <number>.rgs          the scripts
#   scripts.rc            includes them for the resource compiler
#   script_rows.inc       holds them for a host that keeps no resource section with the module
#   toolbox_bitmap.inc    the bytes of the toolbox picture, without the header of its file, for the
#                         same purpose
# and script_files names the scripts.
set(RASTEL_SCRIPT_FOLDER ${CMAKE_CURRENT_BINARY_DIR}/registration)
set(script_rows "")
set(script_includes "")
set(script_files "")

# rastel_class(<script> <class> <version-independent ProgID> <version> <description>)
function(rastel_class SCRIPT CLASS_ID PROG_ID VERSION DESCRIPTION)
  set(VERSIONED_PROG_ID ${PROG_ID}.${VERSION})
  set(CATEGORY "")
  if(SCRIPT EQUAL 127)
    # The one script that declares the category on which all others rely.
    file(READ registration/category.rgs CATEGORY)
  endif()
  configure_file(registration/class.rgs.in ${RASTEL_SCRIPT_FOLDER}/${SCRIPT}.rgs @ONLY)
  file(READ ${RASTEL_SCRIPT_FOLDER}/${SCRIPT}.rgs text)
  string(APPEND script_rows "SCRIPT_ROW(${SCRIPT}, R\"rgs(${text})rgs\")\n")
  string(APPEND script_includes "${SCRIPT} REGISTRY \"${SCRIPT}.rgs\"\n")
  set(script_rows "${script_rows}" PARENT_SCOPE)
  set(script_includes "${script_includes}" PARENT_SCOPE)
  set(script_files ${script_files} ${RASTEL_SCRIPT_FOLDER}/${SCRIPT}.rgs PARENT_SCOPE)
endfunction()

rastel_class(101 {486B1585-D4BF-42FE-A833-619076A4530C} AOIKLP.ByteKLP 2 "ORVA.ByteAOIKLP Class")
rastel_class(102 {2FFC175B-5EAF-48D6-A5A8-1DA777105F68} AOIKLP.WordKLP 2 "ORVA.WordAOIKLP Class")
rastel_class(119 {BCC680BB-6B4D-43C6-8AC5-345BA4291667} AOIKLP.DWordKLP 2 "ORVA.DWordAOIKLP Class")
rastel_class(120 {FA41CBAA-1CC1-45E2-8557-C720C60A92AB} AOIKLP.FloatKLP 2 "ORVA.FloatAOIKLP Class")
rastel_class(121 {ECF64E17-A82D-4EBB-A855-D66A37382DAF} AOIKLP.DoubleKLP 2 "ORVA.DoubleAOIKLP Class")
rastel_class(117 {AE9AAE9D-9CB2-4F85-8A1B-26FFF4557C2D} AOIKLP.CharKLP 2 "ORVA.CharAOIKLP Class")
rastel_class(118 {D6BCB9E8-18E7-4106-A993-C9073CEF95BA} AOIKLP.ShortKLP 2 "ORVA.ShortAOIKLP Class")
rastel_class(123 {5130E382-05A3-4D14-A41F-885B89937FE2} AOIKLP.LongKLP 2 "ORVA.LongAOIKLP Class")
rastel_class(110 {BDE67303-832C-49FF-855C-2B01FFA7925A} VectorKLP.ByteKLP 2 "ORVA.ByteVectorKLP Class")
rastel_class(109 {4DA8E079-E873-47A3-AC76-250983AB4435} VectorKLP.ShortKLP 2 "ORVA.ShortVectorKLP Class")
rastel_class(111 {5B745AAB-6C4D-4204-B864-75797054488A} VectorKLP.LongKLP 2 "ORVA.LongVectorKLP Class")
rastel_class(107 {C33BACD2-3E52-4A14-909D-08F480E03043} VectorKLP.FloatKLP 2 "ORVA.FloatVectorKLP Class")
rastel_class(104 {BEBAB289-535D-49B0-B198-AAE7134AAE0C} VectorKLP.DoubleKLP 2 "ORVA.DoubleVectorKLP Class")
rastel_class(124 {2F8381A3-A9EA-49DA-AD8C-1829A8218D43} VectorKLP.CharVectorKLP 2 "ORVA.CharVectorKLP Class")
rastel_class(125 {0F6E87CF-D563-45A1-B7F0-8A8E93D8E7E8} VectorKLP.WordVectorKLP 2 "ORVA.WordVectorKLP Class")
rastel_class(126 {E8D4EB5E-1645-46A9-B6FE-20F8615B7B71} VectorKLP.DWordVectorKLP 2 "ORVA.DWordVectorKLP Class")
rastel_class(106 {F13F0B8E-F159-43F5-9222-92D759E840C2} VectorKLP.VariantVectorKLP 2 "ORVA.VariantVectorKLP Class")
rastel_class(127 {9624BE21-9980-49D2-998B-95F217179324} RastelKLP.AttributeBstrMapKLP 1
             "ORVA.AttributeBstrMapKLP Class (Rastel)")
rastel_class(128 {4E996978-B7D4-417A-BD5B-2660FB96BF6C} RastelKLP.AttributeLongMapKLP 1
             "ORVA.AttributeLongMapKLP Class (Rastel)")
rastel_class(129 {C3C4E418-3659-41E3-A259-CF754AFD6291} RastelKLP.AttributeDoubleMapKLP 1
             "ORVA.AttributeDoubleMapKLP Class (Rastel)")
rastel_class(130 {228E9F45-4E18-4C20-9571-7F116C96A07A} RastelKLP.AttributeEntryKLP 1
             "ORVA.AttributeEntryKLP Class (Rastel)")

file(CONFIGURE OUTPUT ${RASTEL_SCRIPT_FOLDER}/scripts.rc CONTENT "${script_includes}" @ONLY)
file(CONFIGURE OUTPUT ${RASTEL_SCRIPT_FOLDER}/script_rows.inc CONTENT "${script_rows}" @ONLY)

file(READ registration/toolbox.bmp bitmap OFFSET 14 HEX)
string(REGEX REPLACE "(..)" "0x\\1," bitmap "${bitmap}")
string(REGEX REPLACE "(................................................................................)"
       "\\1\n" bitmap "${bitmap}")
file(CONFIGURE OUTPUT ${RASTEL_SCRIPT_FOLDER}/toolbox_bitmap.inc CONTENT "${bitmap}" @ONLY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             registration/category.rgs registration/toolbox.bmp)
