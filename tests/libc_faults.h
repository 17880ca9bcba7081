#ifndef QXUTILS_TESTS_LIBC_FAULTS_H
#define QXUTILS_TESTS_LIBC_FAULTS_H

#include <functional>
#include <string>

// While one lives, the `failAt`-th call (0: none) of open, fopen, fwrite, fread, fseek or fclose
// fails under the objects that are linked with --wrap.
struct LibcFaults {
  explicit LibcFaults(int failAt = 0);
  ~LibcFaults();
  LibcFaults(const LibcFaults&) = delete;
  LibcFaults& operator=(const LibcFaults&) = delete;

  int left;                         // calls up to the one that fails
  std::string failed;               // the function that failed
  bool blind = false;               // lstat sees nothing
  std::function<void()> afterOpen;  // called behind every fopen
};

#endif
