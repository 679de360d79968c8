# SPDX-License-Identifier: MIT
# What `cmake --install` puts where. Three parts: `runtime` (libraries, tool), `development` (headers,
# CMake package, pkg-config), and on Windows both in one folder.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(header_folder ${CMAKE_INSTALL_INCLUDEDIR}/rastelklp)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/RastelKLP)

# Headers lie as in the source tree, below a folder of their own, so that they include one another
# as they do here and meet no other library's.
install(DIRECTORY interfaces platform DESTINATION ${header_folder} COMPONENT development
        FILES_MATCHING PATTERN "*.h" PATTERN "*.idl")
install(FILES ${PROJECT_BINARY_DIR}/interfaces/generated/help_macros.h
        DESTINATION ${header_folder}/interfaces COMPONENT development)
install(DIRECTORY client/include/rastelklp DESTINATION ${header_folder} COMPONENT development)
# Of the host's headers those that clients come to, by host/host.h and by the form of type libraries.
function(rastel_add_headers header)
  get_property(known GLOBAL PROPERTY RASTEL_PUBLIC_HEADERS)
  if(header IN_LIST known)
    return()
  endif()
  set_property(GLOBAL APPEND PROPERTY RASTEL_PUBLIC_HEADERS ${header})
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${header} DESTINATION ${header_folder}/${folder} COMPONENT development)
  file(STRINGS ${header} lines REGEX "^#include \"host/")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE ".*\"(.*)\".*" "\\1" included "${line}")
    rastel_add_headers(${included})
  endforeach()
endfunction()
if(NOT WIN32)
  rastel_add_headers(host/host.h)
  rastel_add_headers(host/types/tables.h)
  rastel_add_headers(host/services/stream_window.h)
else()
  install(FILES host/services/stream_window.h DESTINATION ${header_folder}/host/services
          COMPONENT development)
endif()

# For C, and for languages that read its headers; on Windows the compiler for interface definitions
# makes one.
find_package(Python3 QUIET COMPONENTS Interpreter)
if(Python3_FOUND AND NOT WIN32)
  set(generator packaging/c_header)
  set(c_header ${PROJECT_BINARY_DIR}/include/rastelklp.h)
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include)
  get_property(host_headers GLOBAL PROPERTY RASTEL_PUBLIC_HEADERS)
  add_executable(c_interfaces ${generator}/interfaces.cpp)
  target_link_libraries(c_interfaces PRIVATE rastel_types rastel_warnings)
  add_custom_command(
    OUTPUT ${c_header}
    COMMAND c_interfaces > ${c_header}.interfaces
    COMMAND ${Python3_EXECUTABLE} ${generator}/host_header.py . ${c_header}.interfaces > ${c_header}
    DEPENDS c_interfaces ${generator}/host_header.py ${host_headers}
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    VERBATIM)
  add_custom_target(rastel_c_header ALL DEPENDS ${c_header})
  install(FILES ${c_header} DESTINATION ${header_folder} COMPONENT development)
endif()

install(FILES ${PROJECT_BINARY_DIR}/include/rastelklp_version.h
        DESTINATION ${header_folder} COMPONENT development)

# Clients link this: the headers, and the host that they call.
set_target_properties(rastel_client PROPERTIES EXPORT_NAME Client)
set_target_properties(rastel_platform PROPERTIES EXPORT_NAME Platform)
add_library(RastelKLP::Client ALIAS rastel_client)
target_include_directories(rastel_platform SYSTEM INTERFACE $<INSTALL_INTERFACE:${header_folder}>)

if(WIN32)
  # For C, C++ of any maker and other languages, as the compiler for interface definitions writes them.
  install(FILES ${PROJECT_BINARY_DIR}/interfaces/generated/RastelKLP.h
                ${PROJECT_BINARY_DIR}/interfaces/generated/RastelKLP_i.c
          DESTINATION ${header_folder} COMPONENT development)
  install(TARGETS RastelKLP RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
  install(FILES ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/RastelKLP.tlb
                ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/RastelKLP.Classes.manifest
          DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
else()
  add_library(RastelKLP::Host ALIAS RastelHost)
  # Not the module: registries name its file, which has to stay the same from one version to the next.
  set_target_properties(RastelHost PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} EXPORT_NAME Host)
  install(TARGETS RastelHost EXPORT RastelKLP
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
          NAMELINK_COMPONENT development)
  install(TARGETS RastelKLP RastelKLPTypes
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime)
  set_target_properties(RastelKLP PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()
if(TARGET rastel)
  install(TARGETS rastel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
  file(RELATIVE_PATH to_libraries
       ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(rastel PROPERTIES INSTALL_RPATH "$ORIGIN/${to_libraries}")
  if(NOT WIN32)
    # What makes every user's programs find the classes, without a command.
    set(package_registry ${CMAKE_INSTALL_DATADIR}/rastelhost/registry.d/rastelklp.registry)
    install(CODE "
      set(prefix \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
      execute_process(COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET
        COMMAND \"\${prefix}/${CMAKE_INSTALL_BINDIR}/rastel\" register
          --package \"\${prefix}/${package_registry}\"
          \"\${prefix}/${CMAKE_INSTALL_LIBDIR}/libRastelKLP.so\")
      file(REMOVE \"\${prefix}/${package_registry}.lock\")
      list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${CMAKE_INSTALL_PREFIX}/${package_registry}\")"
      COMPONENT runtime)
    # What file managers know the streams by.
    set(file_types ${PROJECT_BINARY_DIR}/packaging/rastelklp.xml)
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/packaging)
    add_executable(file_types packaging/file_types/file_types.cpp)
    target_link_libraries(file_types PRIVATE rastel_platform rastel_warnings)
    add_custom_command(OUTPUT ${file_types} COMMAND file_types > ${file_types}
                       DEPENDS file_types VERBATIM)
    add_custom_target(rastel_file_types ALL DEPENDS ${file_types})
    install(FILES ${file_types}
            DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages COMPONENT runtime)
    install(FILES packaging/rastel.1
            DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
    install(FILES packaging/completion.bash RENAME rastel
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT runtime)
  endif()
endif()
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)

install(TARGETS rastel_client rastel_platform EXPORT RastelKLP)
install(EXPORT RastelKLP NAMESPACE RastelKLP:: DESTINATION ${package_folder}
        FILE RastelKLPTargets.cmake COMPONENT development)
configure_package_config_file(packaging/RastelKLPConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/RastelKLPConfig.cmake INSTALL_DESTINATION ${package_folder}
  PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_BINDIR)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/RastelKLPConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/RastelKLPConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/RastelKLPConfigVersion.cmake
        DESTINATION ${package_folder} COMPONENT development)
if(NOT WIN32)
  # Relative to the file, so that a moved or staged tree is found where it lies.
  file(RELATIVE_PATH pc_prefix
       ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  configure_file(packaging/rastelklp.pc.in ${CMAKE_CURRENT_BINARY_DIR}/rastelklp.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/rastelklp.pc
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endif()

# Takes away what the last installation wrote, and the folders that it leaves empty.
if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(uninstall
    COMMAND ${CMAKE_COMMAND} -D MANIFEST=${CMAKE_BINARY_DIR}/install_manifest.txt
            -P ${CMAKE_CURRENT_SOURCE_DIR}/packaging/uninstall.cmake
    VERBATIM)
endif()
