# SPDX-FileCopyrightText: The qxutils authors
# SPDX-License-Identifier: Apache-2.0
#
# What the parts of the tree need is found. What is missing of it is noted, and stops the configuration in the end. The
# message says which of Debian's packages have it all, and which options leave the parts out.
function(qxutils_note_missing what package option)
  set_property(GLOBAL APPEND PROPERTY QXUTILS_MISSING ${what})
  set_property(GLOBAL APPEND PROPERTY QXUTILS_MISSING_PACKAGES ${package})
  set_property(GLOBAL APPEND PROPERTY QXUTILS_MISSING_OPTIONS -D${option}=OFF)
endfunction()

function(qxutils_stop_for_missing)
  get_property(is_missing GLOBAL PROPERTY QXUTILS_MISSING SET)
  if(NOT is_missing)
    return()
  endif()
  foreach(kind "" _PACKAGES _OPTIONS)
    get_property(values GLOBAL PROPERTY QXUTILS_MISSING${kind})
    list(REMOVE_DUPLICATES values)
    list(JOIN values " " missing${kind})
  endforeach()
  # CMake breaks no line that is indented.
  message(FATAL_ERROR "Missing: ${missing}. Install Debian's packages:\n"
    "  apt install ${missing_PACKAGES}\nOr configure with ${missing_OPTIONS}.")
endfunction()

macro(qxutils_find what package option)
  find_package(${what} QUIET)
  if(NOT ${what}_FOUND)
    qxutils_note_missing(${what} ${package} ${option})
  endif()
endmacro()

# For a library without files for CMake; sets WHAT_INCLUDE_DIR and WHAT_LIBRARY.
function(qxutils_find_library what package option header library)
  find_path(${what}_INCLUDE_DIR ${header})
  find_library(${what}_LIBRARY ${library})
  if(NOT ${what}_INCLUDE_DIR OR NOT ${what}_LIBRARY)
    qxutils_note_missing(lib${library} ${package} ${option})
  endif()
endfunction()
