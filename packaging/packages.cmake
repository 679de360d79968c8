# SPDX-License-Identifier: MIT
# `cmake --build --preset release --target package` makes the packages: an archive, and for Debian one
# to run programs with, one to build them with, and with RASTEL_PYTHON one for Python.
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
if(RASTEL_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-rastel)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  # An extension is made for one version of Python.
  math(EXPR next_python "${Python3_VERSION_MINOR} + 1")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "rastelklp (= ${PROJECT_VERSION}), \
python3 (>= 3.${Python3_VERSION_MINOR}), python3 (<< 3.${next_python})")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS python3-numpy)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-dask, python3-distributed")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
      ${CMAKE_CURRENT_LIST_DIR}/python3-rastel/postinst ${CMAKE_CURRENT_LIST_DIR}/python3-rastel/prerm)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_STRICT_PERMISSION ON)
endif()
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
