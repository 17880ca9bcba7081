// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// The export macro marks the library's public interface. Everything else stays hidden.
///
/// The macro is the same for those who build the library and those who use it. So the source tree
/// alone is a complete include path, and no definitions are needed.
#ifndef QXUTILS_EXPORT_H
#define QXUTILS_EXPORT_H

/// Stands before each class and function of the public interface.
#define QXUTILS_EXPORT __attribute__((visibility("default")))

/// Stands before the private operations of an exported class.
#define QXUTILS_LOCAL __attribute__((visibility("hidden")))

#ifdef __clang__
#define QXUTILS_UNUSED [[maybe_unused]]
#else
/// Stands before a field that only keeps its place. Clang warns of a field that nothing uses, GCC
/// 11 of the attribute.
#define QXUTILS_UNUSED
#endif

/// The name by which the library and its users tell each other whether they have _GLIBCXX_DEBUG.
///
/// With it the containers of the standard library have other layouts. So all are compiled with it,
/// or all without it. Otherwise this name is missing when they are linked.
#ifdef _GLIBCXX_DEBUG
#define QXUTILS_DEBUG_MODE qxutils_is_built_with_GLIBCXX_DEBUG
#else
#define QXUTILS_DEBUG_MODE qxutils_is_built_without_GLIBCXX_DEBUG
#endif

/// Has no meaning but its name.
extern "C" QXUTILS_EXPORT const char QXUTILS_DEBUG_MODE;

namespace qxg_800 {

/// Refers to that name, in everything that includes this header.
__attribute__((used, retain)) QXUTILS_LOCAL inline const char* const kDebugMode =
    &QXUTILS_DEBUG_MODE;

}  // namespace qxg_800

#endif
