# SPDX-FileCopyrightText: The qxutils authors
# SPDX-License-Identifier: Apache-2.0
#
# Registers a GoogleTest program whose tests run under locales made for them in the build tree,
# whatever the machine has; further arguments go to gtest_discover_tests.
function(qxutils_discover_tests_under_locales target)
  set(folder ${PROJECT_BINARY_DIR}/locales)
  get_property(known DIRECTORY PROPERTY TESTS)
  if(NOT locales IN_LIST known)
    add_test(NAME locales COMMAND sh ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/locales.sh ${folder})
    set_tests_properties(locales PROPERTIES FIXTURES_SETUP locales)
  endif()
  gtest_discover_tests(${target} ${ARGN}
    PROPERTIES FIXTURES_REQUIRED locales ENVIRONMENT LOCPATH=${folder})
endfunction()
