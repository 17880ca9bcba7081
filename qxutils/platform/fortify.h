// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Not installed: included by the compiler before each source of the library and of qxtree.
//
// Has the C library check the sizes of buffers that are given to it. The level that the project
// around the library asks for counts first. Without optimisation there are no such checks, and the
// C library warns. A sanitizer checks more by itself.
#if defined __has_feature
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QXUTILS_SANITIZED_BY_COMPILER
#endif
#elif defined __SANITIZE_ADDRESS__ || defined __SANITIZE_THREAD__
#define QXUTILS_SANITIZED_BY_COMPILER
#endif

#if defined __OPTIMIZE__ && !defined _FORTIFY_SOURCE && !defined QXUTILS_SANITIZED_BY_COMPILER
#if __has_builtin(__builtin_dynamic_object_size)
#define _FORTIFY_SOURCE 3  // NOLINT(bugprone-reserved-identifier): the C library's
#else
#define _FORTIFY_SOURCE 2  // NOLINT(bugprone-reserved-identifier): the C library's
#endif
#endif
