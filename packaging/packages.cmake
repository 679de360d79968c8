# SPDX-License-Identifier: MIT
# `cmake --build --preset release --target package` makes the packages: an archive, and for Debian one
# to run programs with and one to build them with.
set(CPACK_PACKAGE_NAME rastelklp)
set(CPACK_PACKAGE_VENDOR "The developers of RastelKLP")
set(CPACK_PACKAGE_CONTACT "The developers of RastelKLP <rastelklp@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "Images, vectors and attribute maps shared between imaging components")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_STRIP_FILES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR TGZ DEB)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME rastelklp)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME rastelklp-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "rastelklp (= ${PROJECT_VERSION})")
# Host and module find each other in the package itself.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
include(CPack)

# `cmake --build --preset windows --target installer`
if(WIN32)
  find_program(RASTEL_MAKENSIS makensis)
  mark_as_advanced(RASTEL_MAKENSIS)
  if(RASTEL_MAKENSIS)
    add_custom_target(installer
      COMMAND ${CMAKE_COMMAND} -D BUILD=${CMAKE_BINARY_DIR} -D MAKENSIS=${RASTEL_MAKENSIS}
              -D VERSION=${PROJECT_VERSION}
              -D OUTPUT=${CMAKE_BINARY_DIR}/RastelKLP-${PROJECT_VERSION}-x64.exe
              -P ${CMAKE_CURRENT_LIST_DIR}/windows/installer.cmake
      VERBATIM)
    add_dependencies(installer RastelKLP rastel)
  endif()
endif()
