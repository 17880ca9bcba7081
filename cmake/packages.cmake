# SPDX-FileCopyrightText: The qxutils authors
# SPDX-License-Identifier: Apache-2.0
#
# Packages for Debian, which CPack makes of the three components.
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL qxutils_runtime qxutils_development)
if(TARGET qxtree)
  list(APPEND CPACK_COMPONENTS_ALL qxtree)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_NAME qxutils)
set(CPACK_PACKAGE_VERSION ${QXUTILS_VERSION})
set(CPACK_PACKAGE_CONTACT "The qxutils authors")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_QXUTILS_RUNTIME_PACKAGE_NAME libqxutils${QXUTILS_VERSION_MAJOR})
set(CPACK_DEBIAN_QXUTILS_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_QXUTILS_RUNTIME_DESCRIPTION ${PROJECT_DESCRIPTION})
set(CPACK_DEBIAN_QXUTILS_DEVELOPMENT_PACKAGE_NAME libqxutils-dev)
set(CPACK_DEBIAN_QXUTILS_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_QXUTILS_DEVELOPMENT_PACKAGE_DEPENDS "libqxutils${QXUTILS_VERSION_MAJOR} (= ${QXUTILS_VERSION})")
set(CPACK_DEBIAN_QXUTILS_DEVELOPMENT_DESCRIPTION "Headers and build files of qxutils")
set(CPACK_DEBIAN_QXTREE_PACKAGE_NAME qxtree)
set(CPACK_DEBIAN_QXTREE_PACKAGE_SECTION math)
set(CPACK_DEBIAN_QXTREE_PACKAGE_DEPENDS "libqxutils${QXUTILS_VERSION_MAJOR} (= ${QXUTILS_VERSION})")
set(CPACK_DEBIAN_QXTREE_DESCRIPTION "Grows decision trees on CSV files larger than memory")

# Every package says its licence; that of qxtree also the licences of what is compiled into it.
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER CPACK_DEBIAN_${component}_PACKAGE_NAME name)
  set(folder ${CMAKE_INSTALL_DATADIR}/doc/${${name}})
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${folder} RENAME copyright
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()
foreach(package libcli11-dev libfmt-dev nlohmann-json3-dev)
  install(FILES /usr/share/doc/${package}/copyright OPTIONAL RENAME copyright-${package}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qxtree COMPONENT qxtree EXCLUDE_FROM_ALL)
endforeach()
include(CPack)
