#include "libc_faults.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

static LibcFaults* active = nullptr;

LibcFaults::LibcFaults(int failAt) : left(failAt) { active = this; }
LibcFaults::~LibcFaults() { active = nullptr; }

static bool Fails(const char* function, int error) {
  if (!active || --active->left != 0) return false;
  active->failed = function;
  errno = error;
  return true;
}

extern "C" {

int __real_open(const char* path, int flags, mode_t mode);
int __wrap_open(const char* path, int flags, mode_t mode) {
  return Fails("open", EMFILE) ? -1 : __real_open(path, flags, mode);
}

int __real_lstat(const char* path, struct stat* status);
int __wrap_lstat(const char* path, struct stat* status) {
  return active && active->blind ? -1 : __real_lstat(path, status);
}

FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode) {
  if (Fails("open", EMFILE)) return nullptr;
  FILE* stream = __real_fopen(path, mode);
  if (active && active->afterOpen) active->afterOpen();
  return stream;
}

int __real_fclose(FILE* stream);
int __wrap_fclose(FILE* stream) {
  const int result = __real_fclose(stream);
  return Fails("close", ENOSPC) ? EOF : result;
}

int __real_fseek(FILE* stream, long position, int from);
int __wrap_fseek(FILE* stream, long position, int from) {
  return Fails("seek", EIO) ? -1 : __real_fseek(stream, position, from);
}

size_t __real_fwrite(const void* data, size_t size, size_t count, FILE* stream);
size_t __wrap_fwrite(const void* data, size_t size, size_t count, FILE* stream) {
  return count > 0 && Fails("write", ENOSPC) ? 0 : __real_fwrite(data, size, count, stream);
}

size_t __real_fread(void* data, size_t size, size_t count, FILE* stream);
size_t __wrap_fread(void* data, size_t size, size_t count, FILE* stream) {
  return count > 0 && Fails("read", EIO) ? 0 : __real_fread(data, size, count, stream);
}

}  // extern "C"
