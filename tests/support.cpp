// Where the C library's calls and the allocations that are to fail do so.
#include "support.h"

#include <sys/syscall.h>

extern "C" {
decltype(fclose) __real_fclose;
decltype(fread) __real_fread;
decltype(fwrite) __real_fwrite;

int __wrap_lstat(const char* path, struct stat* status) {
  return faults.blind ? -1 : fstatat(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

int __wrap_open(const char* path, int flags, mode_t mode) {
  return faults.Hit("opening file") ? -1 : openat(AT_FDCWD, path, flags, mode);
}

FILE* __wrap_fopen(const char* path, const char* mode) {
  FILE* const stream = faults.Hit("opening file") ? nullptr : fopen64(path, mode);
  if (faults.afterOpen) faults.afterOpen();
  return stream;
}

int __wrap_fclose(FILE* f) { return __real_fclose(f) || faults.Hit("writing to file") ? EOF : 0; }

int __wrap_fseek(FILE* stream, long position, int from) {
  return faults.Hit("seeking in file") ? -1 : fseeko(stream, position, from);
}

size_t __wrap_fread(void* to, size_t size, size_t count, FILE* stream) {
  return count > 0 && faults.Hit("reading from file") ? 0 : __real_fread(to, size, count, stream);
}

size_t __wrap_fwrite(const void* data, size_t size, size_t count, FILE* stream) {
  return count > 0 && faults.Hit("writing to file") ? 0 : __real_fwrite(data, size, count, stream);
}

// In front of the C library's own, for the C++ library's file streams.
ssize_t read(int descriptor, void* to, size_t bytes) {
  return faults.Hit("reading from file") ? -1 : syscall(SYS_read, descriptor, to, bytes);
}
}  // extern "C"

void* operator new(std::size_t bytes) {
  const bool fails = allocationsLeft > 0 && --allocationsLeft == 0;
  if (void* const block = fails ? nullptr : std::malloc(bytes)) return block;
  throw std::bad_alloc();
}

// All forms in use: a sanitizer's own would not match ours.
void* operator new[](std::size_t bytes) { return operator new(bytes); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
  return std::malloc(bytes);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
