# SPDX-FileCopyrightText: The qxutils authors
# SPDX-License-Identifier: Apache-2.0
#
# What a part of the tree needs is found, or the configuration stops and says which of Debian's packages has it, and
# which option leaves the part out.
function(qxutils_stop_without what package option)
  message(FATAL_ERROR "${what} is missing. Install Debian's package ${package}, or configure with -D${option}=OFF.")
endfunction()

macro(qxutils_find what package option)
  find_package(${what} QUIET)
  if(NOT ${what}_FOUND)
    qxutils_stop_without(${what} ${package} ${option})
  endif()
endmacro()

# For a library without files for CMake; sets WHAT_INCLUDE_DIR and WHAT_LIBRARY.
function(qxutils_find_library what package option header library)
  find_path(${what}_INCLUDE_DIR ${header})
  find_library(${what}_LIBRARY ${library})
  if(NOT ${what}_INCLUDE_DIR OR NOT ${what}_LIBRARY)
    qxutils_stop_without(lib${library} ${package} ${option})
  endif()
endfunction()
