# SPDX-FileCopyrightText: The qxutils authors
# SPDX-License-Identifier: Apache-2.0
#
# What is installed, in three components: qxutils_runtime, qxutils_development and, where it is built, qxtree.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS qxutils EXPORT qxutilsTargets
  ARCHIVE COMPONENT qxutils_development
  LIBRARY COMPONENT qxutils_runtime NAMELINK_COMPONENT qxutils_development)
target_include_directories(qxutils INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
foreach(header IN LISTS QXUTILS_HEADERS QXUTILS_HOST_HEADERS)
  get_filename_component(folder ${header} DIRECTORY)
  set(from ${PROJECT_SOURCE_DIR})
  if(QXUTILS_HOST_INCLUDE_DIR AND header IN_LIST QXUTILS_HOST_HEADERS)
    set(from ${QXUTILS_HOST_INCLUDE_DIR})
  endif()
  install(FILES ${from}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder}
    COMPONENT qxutils_development)
endforeach()

set(QXUTILS_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qxutils)
install(EXPORT qxutilsTargets NAMESPACE qxutils:: DESTINATION ${QXUTILS_CMAKE_DIR}
  COMPONENT qxutils_development)
configure_package_config_file(cmake/qxutilsConfig.cmake.in qxutilsConfig.cmake
  INSTALL_DESTINATION ${QXUTILS_CMAKE_DIR})
write_basic_package_version_file(qxutilsConfigVersion.cmake
  VERSION ${QXUTILS_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qxutilsConfig.cmake ${PROJECT_BINARY_DIR}/qxutilsConfigVersion.cmake
  DESTINATION ${QXUTILS_CMAKE_DIR} COMPONENT qxutils_development)

# The prefix is found from the file's own place, so that the whole may be moved.
file(RELATIVE_PATH QXUTILS_PREFIX_FROM_PC
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/qxutils.pc.in qxutils.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qxutils.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT qxutils_development)
