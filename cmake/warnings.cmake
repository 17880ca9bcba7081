# SPDX-FileCopyrightText: The qxutils authors
# SPDX-License-Identifier: Apache-2.0
#
# The warnings of the project's own targets; never handed on to those who use the library.
function(qxutils_warnings)
  foreach(target IN LISTS ARGN)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
  endforeach()
endfunction()
