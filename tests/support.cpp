// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// Where the system calls and the allocations that are to fail do so.
#include "support.h"

#include <dlfcn.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <ucontext.h>

#include <csignal>
#include <cstddef>
#include <cstring>

const char* NameOf(long call) {
#define CALL(name) \
  { SYS_##name, #name }
  static const std::map<long, const char*> names = {
      CALL(brk),  CALL(close),      CALL(fchmod), CALL(getcwd), CALL(lseek),  CALL(mkdir),
      CALL(mmap), CALL(newfstatat), CALL(openat), CALL(read),   CALL(unlink), CALL(write)};
#undef CALL
  const auto name = names.find(call);
  return name == names.end() ? "another call" : name->second;
}

// Not trapped: what threads do while they block all signals, what has to do with signals, what
// cannot fail, and the pipes that sanitizers make.
constexpr unsigned kUntrapped[] = {
    SYS_chdir,          SYS_clone,       SYS_clone3,         SYS_execve,       SYS_fcntl,
    SYS_exit,           SYS_exit_group,  SYS_futex,          SYS_getpid,       SYS_gettid,
    SYS_madvise,        SYS_pipe,        SYS_pipe2,          SYS_munmap,       SYS_prlimit64,
    SYS_rseq,           SYS_tgkill,      SYS_wait4,          SYS_rt_sigaction, SYS_rt_sigreturn,
    SYS_rt_sigprocmask, SYS_sigaltstack, SYS_set_robust_list};

// Not those of a sanitizer, which come from elsewhere.
static bool IsOfTheCLibrary(const void* address) {
  Dl_info from;
  if (dladdr(address, &from) == 0) return false;
  return std::strstr(from.dli_fname, "/libc.so") || std::strstr(from.dli_fname, "/ld-linux");
}

// The filter lets through what this function of the C library calls.
static const auto call = reinterpret_cast<decltype(&syscall)>(dlsym(RTLD_NEXT, "syscall"));

static long Result(const greg_t* args, const void* address) {
  const long number = args[REG_RAX];
  if (meanwhile && IsOfTheCLibrary(address)) {
    const auto act = std::exchange(meanwhile, nullptr);
    act(number);
    meanwhile = act;
  }
  const bool isTransfer = (number == SYS_read || number == SYS_write) && args[REG_RDX] > 1;
  const bool fails = faults.kind == Faults::kCalls && IsOfTheCLibrary(address) &&
                     (faults.error != 0 || isTransfer) && faults.Hit(Faults::kCalls, number);
  if (fails && number == SYS_brk) return call(SYS_brk, 0);  // where it was
  // A close that fails has closed all the same.
  if (fails && faults.error != 0 && number != SYS_close) return -faults.error;
  const long length = fails && faults.error == 0 ? args[REG_RDX] / 2 : args[REG_RDX];
  long result =
      call(number, args[REG_RDI], args[REG_RSI], length, args[REG_R10], args[REG_R8], args[REG_R9]);
  if (result == -1) result = -errno;
  return fails && faults.error != 0 ? -faults.error : result;
}

static void OnTrap(int /*signal*/, siginfo_t* info, void* context) {
  const int before = errno;
  greg_t* const registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
  registers[REG_RAX] = Result(registers, info->si_call_addr);
  errno = before;
}

static bool isTrapping = false;

void TrapSystemCalls() {
  if (std::exchange(isTrapping, true)) return;
  struct sigaction action = {};
  action.sa_sigaction = OnTrap;
  action.sa_flags = SA_SIGINFO | SA_NODEFER;
  sigaction(SIGSYS, &action, nullptr);
  const auto start = reinterpret_cast<std::uintptr_t>(call);
  const sock_filter allow = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
  std::vector<sock_filter> filter = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
  for (const unsigned number : kUntrapped)
    filter.insert(filter.end(), {BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1), allow});
  filter.insert(filter.end(),
                {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, instruction_pointer)),
                 BPF_STMT(BPF_ALU | BPF_SUB | BPF_K, static_cast<unsigned>(start)),
                 BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, 64, 0, 1),  // longer than that function
                 BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP), allow});
  const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
    throw std::runtime_error("the system has no seccomp filters");
}

static bool HasMemory() {
  const bool fails = faults.Hit(Faults::kMemory);
  errno = fails ? ENOMEM : errno;
  return !fails;
}

static void Count(void* block, int sign) {
  if (!block) return;
  blocks += sign;
  // What glibc's heap takes for it, under a sanitizer too.
  heapBytes += sign * static_cast<long>((malloc_usable_size(block) + 8 + 15) / 16 * 16);
  mostHeapBytes = std::max(mostHeapBytes, heapBytes);
}

static void* Counted(void* block) { return Count(block, 1), block; }

#ifdef QXUTILS_SANITIZED  // has a malloc of its own, so operator new fails instead
// The search for leaks is a process that the filter would kill. Tests count `blocks` instead.
extern "C" int __lsan_is_turned_off() { return isTrapping; }

void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return HasMemory() ? Counted(std::malloc(bytes)) : nullptr;
}
void* operator new(std::size_t bytes) {
  if (void* const block = operator new(bytes, std::nothrow)) return block;
  throw std::bad_alloc();
}

// All forms in use: a sanitizer's own would not match ours.
void* operator new[](std::size_t bytes) { return operator new(bytes); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
  return operator new(bytes, std::nothrow);
}
void operator delete(void* block) noexcept {
  Count(block, -1);
  std::free(block);
}
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete(void* block, std::size_t) noexcept { operator delete(block); }
void operator delete[](void* block, std::size_t) noexcept { operator delete(block); }
#else
extern "C" {
decltype(malloc) __libc_malloc;
decltype(calloc) __libc_calloc;
decltype(realloc) __libc_realloc;
decltype(free) __libc_free;

void* malloc(std::size_t bytes) noexcept {
  return HasMemory() ? Counted(__libc_malloc(bytes)) : nullptr;
}
void* calloc(std::size_t count, std::size_t bytes) noexcept {
  return HasMemory() ? Counted(__libc_calloc(count, bytes)) : nullptr;
}
void* realloc(void* block, std::size_t bytes) noexcept {
  if (!HasMemory()) return nullptr;
  Count(block, -1);
  return Counted(__libc_realloc(block, bytes));
}
void free(void* block) noexcept {
  Count(block, -1);
  __libc_free(block);
}
}  // extern "C"
#endif
