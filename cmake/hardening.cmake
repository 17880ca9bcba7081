# SPDX-FileCopyrightText: The qxutils authors
# SPDX-License-Identifier: Apache-2.0
#
# What makes the project's own binaries harder to attack, and the same wherever and whenever they are built. Each
# option is used where compiler and linker know it. None is handed on to those who use the library.
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)

# x86 has the one kind of control-flow protection, aarch64 the other. Clang warns of what it ignores.
set(CMAKE_REQUIRED_FLAGS -Werror)
foreach(option -fstack-protector-strong -fcf-protection=full -mbranch-protection=standard)
  string(MAKE_C_IDENTIFIER QXUTILS_HAS${option} known)
  check_cxx_compiler_flag(${option} ${known})
  if(${known})
    list(APPEND QXUTILS_COMPILE_HARDENING ${option})
  endif()
endforeach()
unset(CMAKE_REQUIRED_FLAGS)

# A sanitizer's functions are found when the program is linked, not before.
get_directory_property(QXUTILS_GIVEN_OPTIONS COMPILE_OPTIONS)
list(APPEND QXUTILS_GIVEN_OPTIONS ${CMAKE_CXX_FLAGS})
foreach(type IN LISTS CMAKE_BUILD_TYPE CMAKE_CONFIGURATION_TYPES)
  string(TOUPPER CMAKE_CXX_FLAGS_${type} flags)
  list(APPEND QXUTILS_GIVEN_OPTIONS ${${flags}})
endforeach()
set(QXUTILS_LINK_CANDIDATES relro now noexecstack ibt shstk)
if(NOT QXUTILS_GIVEN_OPTIONS MATCHES "-fsanitize")
  list(APPEND QXUTILS_LINK_CANDIDATES defs)
endif()
foreach(option IN LISTS QXUTILS_LINK_CANDIDATES)
  # Some linkers warn of what they do not know, and go on.
  check_linker_flag(CXX LINKER:--fatal-warnings,-z,${option} QXUTILS_HAS_Z_${option})
  if(QXUTILS_HAS_Z_${option})
    list(APPEND QXUTILS_LINK_HARDENING LINKER:-z,${option})
  endif()
endforeach()

# Paths of this machine get into no file. The last map that fits a path counts, so the folder that may lie within
# another comes later. Of equal options CMake keeps the first.
set(QXUTILS_FOLDERS ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR})
if(NOT PROJECT_IS_TOP_LEVEL)
  list(PREPEND QXUTILS_FOLDERS ${CMAKE_BINARY_DIR})
endif()
foreach(kind debug macro) # with -ffile-prefix-map scripts/coverage would not find the source
  list(TRANSFORM QXUTILS_FOLDERS REPLACE "(.+)" "-f${kind}-prefix-map=\\1=." OUTPUT_VARIABLE QXUTILS_PREFIX_MAPS)
  list(APPEND QXUTILS_COMPILE_HARDENING ${QXUTILS_PREFIX_MAPS})
endforeach()

# The header defines _FORTIFY_SOURCE where nobody else has, and where the compiler optimises.
list(APPEND QXUTILS_COMPILE_HARDENING "SHELL:-include qxutils/platform/fortify.h")

function(qxutils_harden)
  foreach(target IN LISTS ARGN)
    target_compile_options(${target} PRIVATE ${QXUTILS_COMPILE_HARDENING})
    target_link_options(${target} PRIVATE ${QXUTILS_LINK_HARDENING})
  endforeach()
endfunction()

# The same for programs and their objects. A program lies at another address each time, and in the folder of its
# build it finds the library from where it lies itself.
function(qxutils_harden_program)
  qxutils_harden(${ARGN})
  foreach(target IN LISTS ARGN)
    target_compile_options(${target} PRIVATE -fPIE)
    target_link_options(${target} PRIVATE -pie)
    set_target_properties(${target} PROPERTIES BUILD_RPATH_USE_ORIGIN ON)
  endforeach()
endfunction()
