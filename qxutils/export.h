// The export macro: what carries it is the library's public interface, everything else stays
// hidden.
//
// The same text serves those who build the library and those who use it, so that the source tree
// alone is a complete include path and no definitions are needed.
#ifndef QXUTILS_EXPORT_H
#define QXUTILS_EXPORT_H

#define QXUTILS_EXPORT __attribute__((visibility("default")))

// For the private operations of an exported class.
#define QXUTILS_LOCAL __attribute__((visibility("hidden")))

#endif
