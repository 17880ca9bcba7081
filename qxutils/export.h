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

/// For a field that only keeps its place. Clang warns of a field that nothing uses, GCC 11 of the
/// attribute.
#ifdef __clang__
#define QXUTILS_UNUSED [[maybe_unused]]
#else
#define QXUTILS_UNUSED
#endif

#endif
