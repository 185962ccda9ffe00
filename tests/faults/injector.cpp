// A shared object that is loaded before a program (LD_PRELOAD) and stands between it and the C
// library: the n-th call of a kind fails, writes short, or ends the process.
//
//   KAVREL_FAULT=KIND:N:WHAT   KIND as below or "any"; WHAT an errno, "short" or "kill"
//   KAVREL_FAULT_IN=NAME       the program that is meant; children of other names run undisturbed
//   KAVREL_FAULT_STATE=PATH    a file that counts the calls, shared by all processes
//
// Waiting takes no time, and a program that hangs is ended after half a minute.
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace {

constexpr unsigned kTimeLimit = 30;  // seconds

struct Plan {
  std::atomic<unsigned long>* Calls = nullptr;
  char Kind[16] = "";
  unsigned long At = 0;
  int Error = 0;
  bool Short = false, Kill = false;
};
Plan plan;

__attribute__((constructor)) void ReadPlan() {
  alarm(kTimeLimit);
  const char* text = getenv("KAVREL_FAULT");
  const char* state = getenv("KAVREL_FAULT_STATE");
  const char* name = getenv("KAVREL_FAULT_IN");
  char what[16] = "";
  if (!text || !state || !name || strcmp(name, program_invocation_short_name) != 0 ||
      sscanf(text, "%15[^:]:%lu:%15s", plan.Kind, &plan.At, what) != 3) {
    return;
  }
  plan.Short = strcmp(what, "short") == 0;
  plan.Kill = strcmp(what, "kill") == 0;
  plan.Error = atoi(what);
  const long file = syscall(SYS_openat, AT_FDCWD, state, O_RDWR | O_CLOEXEC);
  void* shared = mmap(nullptr, sizeof(unsigned long), PROT_READ | PROT_WRITE, MAP_SHARED,
                      static_cast<int>(file), 0);
  syscall(SYS_close, file);
  if (shared != MAP_FAILED) plan.Calls = static_cast<std::atomic<unsigned long>*>(shared);
}

/// Counts a call; true when it is the one that is to fail.
bool Strikes(const char* kind) {
  if (!plan.Calls || (strcmp(plan.Kind, "any") != 0 && strcmp(plan.Kind, kind) != 0)) return false;
  if (plan.Calls->fetch_add(1) + 1 != plan.At) return false;
  if (plan.Kill) syscall(SYS_kill, getpid(), SIGKILL);
  errno = plan.Error;
  return true;
}

template <typename Function>
Function Next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

mode_t ModeOf(int flags, va_list arguments) {
  return flags & (O_CREAT | O_TMPFILE) ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

// NOLINTBEGIN: the signatures are the C library's.
#define PASS_ON(kind, result, name, parameters, ...)            \
  extern "C" result name parameters {                           \
    static const auto next = Next<result(*) parameters>(#name); \
    if (Strikes(kind)) return static_cast<result>(-1);          \
    return next(__VA_ARGS__);                                   \
  }

PASS_ON("stat", int, statx, (int at, const char* path, int flags, unsigned mask, struct statx* to),
        at, path, flags, mask, to)
PASS_ON("stat", int, fstatat, (int at, const char* path, struct stat* to, int flags), at, path, to,
        flags)
PASS_ON("stat", int, stat, (const char* path, struct stat* to), path, to)
PASS_ON("stat", int, fstat, (int file, struct stat* to), file, to)
PASS_ON("stat", int, faccessat, (int at, const char* path, int mode, int flags), at, path, mode,
        flags)
PASS_ON("read", ssize_t, read, (int file, void* to, size_t length), file, to, length)
PASS_ON("read", ssize_t, readlinkat, (int at, const char* path, char* to, size_t length), at, path,
        to, length)
PASS_ON("list", ssize_t, getdents64, (int file, void* to, size_t length), file, to, length)
PASS_ON("seek", off_t, lseek, (int file, off_t to, int whence), file, to, whence)
PASS_ON("resize", int, ftruncate, (int file, off_t size), file, size)
PASS_ON("rename", int, renameat, (int from_at, const char* from, int to_at, const char* to),
        from_at, from, to_at, to)
PASS_ON("rename", int, renameat2,
        (int from_at, const char* from, int to_at, const char* to, unsigned flags), from_at, from,
        to_at, to, flags)
PASS_ON("make", int, mkdirat, (int at, const char* path, mode_t mode), at, path, mode)
PASS_ON("make", int, mkdir, (const char* path, mode_t mode), path, mode)
PASS_ON("make", int, symlinkat, (const char* target, int at, const char* path), target, at, path)
PASS_ON("unlink", int, unlinkat, (int at, const char* path, int flags), at, path, flags)
PASS_ON("unlink", int, unlink, (const char* path), path)
PASS_ON("sync", int, fsync, (int file), file)
PASS_ON("attributes", int, futimens, (int file, const struct timespec times[2]), file, times)
PASS_ON("attributes", int, utimensat,
        (int at, const char* path, const struct timespec times[2], int flags), at, path, times,
        flags)
PASS_ON("attributes", int, fchmod, (int file, mode_t mode), file, mode)
PASS_ON("attributes", int, fchown, (int file, uid_t owner, gid_t group), file, owner, group)
PASS_ON("spawn", pid_t, fork, ())
PASS_ON("spawn", int, pipe2, (int ends[2], int flags), ends, flags)
PASS_ON("spawn", int, memfd_create, (const char* name, unsigned flags), name, flags)

extern "C" int openat(int at, const char* path, int flags, ...) {
  static const auto next = Next<int (*)(int, const char*, int, ...)>("openat");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return Strikes("open") ? -1 : next(at, path, flags, mode);
}

extern "C" int open(const char* path, int flags, ...) {
  static const auto next = Next<int (*)(const char*, int, ...)>("open");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return Strikes("open") ? -1 : next(path, flags, mode);
}

extern "C" int close(int file) {
  static const auto next = Next<int (*)(int)>("close");
  const bool strikes = Strikes("close");
  const int result = next(file);  // Whatever it reports, the system lets go of the file.
  if (strikes) errno = plan.Error;
  return strikes ? -1 : result;
}

extern "C" ssize_t write(int file, const void* from, size_t length) {
  static const auto next = Next<ssize_t (*)(int, const void*, size_t)>("write");
  if (!Strikes("write")) return next(file, from, length);
  return plan.Short ? next(file, from, (length + 1) / 2) : -1;
}

extern "C" ssize_t pwrite(int file, const void* from, size_t length, off_t at) {
  static const auto next = Next<ssize_t (*)(int, const void*, size_t, off_t)>("pwrite");
  if (!Strikes("write")) return next(file, from, length, at);
  return plan.Short ? next(file, from, (length + 1) / 2, at) : -1;
}

extern "C" ssize_t copy_file_range(int from, off64_t* from_at, int to, off64_t* to_at,
                                   size_t length, unsigned flags) {
  static const auto next =
      Next<ssize_t (*)(int, off64_t*, int, off64_t*, size_t, unsigned)>("copy_file_range");
  if (!Strikes("copy")) return next(from, from_at, to, to_at, length, flags);
  return plan.Short ? next(from, from_at, to, to_at, (length + 1) / 2, flags) : -1;
}

extern "C" int nanosleep(const struct timespec*, struct timespec*) {
  return 0;
}
extern "C" int clock_nanosleep(clockid_t, int, const struct timespec*, struct timespec*) {
  return 0;
}
// NOLINTEND
