// A shared object that is loaded before a program (LD_PRELOAD) and stands between it and the C
// library: the n-th call of a kind fails, writes short, or ends the process; and a folder can be
// made to behave like another file system.
//
//   KAVREL_FAULT=KIND:N:WHAT   KIND as below or "any"; WHAT an errno, "short", "kill", "gone":
//                              that call and all that follow fail with EIO, or "change": the
//                              shell runs the script of that name before the call
//   KAVREL_FAULT_CHANGE=PATH
//   KAVREL_FAULT_IN=NAME       the program that is meant; children of other names run undisturbed
//   KAVREL_FAULT_UNDER=PATH    only calls for something below this folder count
//   KAVREL_FAULT_STATE=PATH    a file that counts the calls, shared by all processes
//   KAVREL_DISK=HOW:PATH       below PATH, "A" and "a" are one entry; HOW is "fold", "fat" for one
//                              that also refuses names and links, keeps even seconds and no
//                              permissions, "odd" for one that numbers each spelling of an entry
//                              anew, or "lower" for one that lists all names in lower case
//   KAVREL_CLOCK=SECONDS       what time it is, all the while
//
// Waiting takes no time, for another program a fiftieth of it, and a program that hangs is ended
// after half a minute.
#include <ctype.h>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <sys/wait.h>
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
  bool Short = false, Kill = false, Gone = false;
  const char* Change = nullptr;
  const char* Under = nullptr;
};
Plan plan;

const char* disk = nullptr;  ///< the folder that is another file system
bool fat = false, odd = false, lower = false;

__attribute__((constructor)) void ReadPlan() {
  alarm(kTimeLimit);
  if (const char* how = getenv("KAVREL_DISK")) {
    disk = strchr(how, ':') + 1;
    fat = strncmp(how, "fat", 3) == 0;
    odd = strncmp(how, "odd", 3) == 0;
    lower = strncmp(how, "lower", 5) == 0;
  }
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
  plan.Gone = strcmp(what, "gone") == 0;
  plan.Change = strcmp(what, "change") == 0 ? getenv("KAVREL_FAULT_CHANGE") : nullptr;
  plan.Error = plan.Gone ? EIO : atoi(what);
  plan.Under = getenv("KAVREL_FAULT_UNDER");
  const long file = syscall(SYS_openat, AT_FDCWD, state, O_RDWR | O_CLOEXEC);
  void* shared = mmap(nullptr, sizeof(unsigned long), PROT_READ | PROT_WRITE, MAP_SHARED,
                      static_cast<int>(file), 0);
  syscall(SYS_close, file);
  if (shared != MAP_FAILED) plan.Calls = static_cast<std::atomic<unsigned long>*>(shared);
}

/// Whether an open file, or a path, is `root` or lies below it.
bool IsUnder(const char* root, int at, const char* path) {
  char known[4096];
  if (!path || *path != '/') {
    char link[32];
    snprintf(link, sizeof link, at == AT_FDCWD ? "/proc/self/cwd" : "/proc/self/fd/%d", at);
    const long length = syscall(SYS_readlink, link, known, sizeof known - 1);
    known[length > 0 ? length : 0] = '\0';
    path = known;
  }
  const size_t length = strlen(root);
  return strncmp(path, root, length) == 0 && (path[length] == '/' || path[length] == '\0');
}

/// Lets the shell do what somebody else does in the midst of a run.
void MakeChange() {
  char shell[] = "/bin/sh", path[] = "PATH=/usr/bin:/bin";
  char* const arguments[] = {shell, const_cast<char*>(plan.Change), nullptr};
  char* const environment[] = {path, nullptr};
  pid_t child = -1;
  if (posix_spawn(&child, shell, nullptr, nullptr, arguments, environment) != 0) abort();
  while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) continue;
}

/// Counts a call; true when it is one that is to fail.
bool Strikes(const char* kind, int at = -1, const char* path = nullptr) {
  if (!plan.Calls || (strcmp(plan.Kind, "any") != 0 && strcmp(plan.Kind, kind) != 0)) return false;
  if (plan.Under && !IsUnder(plan.Under, at, path)) return false;
  const unsigned long call = plan.Calls->fetch_add(1) + 1;
  if (plan.Gone ? call < plan.At : call != plan.At) return false;
  if (plan.Kill) syscall(SYS_kill, getpid(), SIGKILL);
  if (plan.Change) {
    MakeChange();
    return false;
  }
  errno = plan.Error;
  return true;
}

bool OnDisk(int at, const char* path) {
  return disk && IsUnder(disk, at, path);
}

bool OnFat(int at, const char* path = nullptr) {
  return fat && OnDisk(at, path);
}

/// True, with the errno set, for a new name that FAT refuses.
bool Refuses(int at, const char* name) {
  if (!OnFat(at, name)) return false;
  const char* last = strrchr(name, '/');
  last = last ? last + 1 : name;
  bool bad = *last && strchr(". ", last[strlen(last) - 1]);
  for (const char* c = last; *c; ++c) bad = bad || strchr(":?*\"<>|\\\n", *c);
  if (bad) errno = EINVAL;
  return bad;
}

/// The name that an entry already has on such a disk.
class DiskName {
 public:
  DiskName(int at, const char* path) : name_(path) {
    if (!path || !*path || strchr(path, '/') || !OnDisk(at, path)) return;
    const int folder =
        static_cast<int>(syscall(SYS_openat, at, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    alignas(dirent64) char entries[4096];
    long length;
    while ((length = syscall(SYS_getdents64, folder, entries, sizeof entries)) > 0) {
      for (long i = 0; i < length;) {
        const auto* entry = reinterpret_cast<const dirent64*>(entries + i);
        if (strcasecmp(entry->d_name, path) == 0) name_ = strcpy(found_, entry->d_name);
        i += entry->d_reclen;
      }
    }
    syscall(SYS_close, folder);
  }
  operator const char*() const { return name_; }

 private:
  const char* name_;
  char found_[256];
};

timespec EvenSeconds(const timespec& time) {
  return {time.tv_sec & ~1L, 0};
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
/// For calls whose first parameter is an open `file`.
#define PASS_ON_FILE(kind, result, name, parameters, ...)       \
  extern "C" result name parameters {                           \
    static const auto next = Next<result(*) parameters>(#name); \
    if (Strikes(kind, file)) return static_cast<result>(-1);    \
    return next(__VA_ARGS__);                                   \
  }
/// For calls that take a `path`.
#define PASS_ON_PATH(kind, result, name, parameters, ...)              \
  extern "C" result name parameters {                                  \
    static const auto next = Next<result(*) parameters>(#name);        \
    if (Strikes(kind, AT_FDCWD, path)) return static_cast<result>(-1); \
    return next(__VA_ARGS__);                                          \
  }
/// For calls that take a `path` from the folder `at`, which stands for `own` in the arguments.
#define PASS_ON_AT(kind, result, name, parameters, ...)          \
  extern "C" result name parameters {                            \
    static const auto next = Next<result(*) parameters>(#name);  \
    if (Strikes(kind, at, path)) return static_cast<result>(-1); \
    const DiskName own(at, path);                                \
    return next(__VA_ARGS__);                                    \
  }

extern "C" int statx(int at, const char* path, int flags, unsigned mask, struct statx* to) {
  static const auto next = Next<int (*)(int, const char*, int, unsigned, struct statx*)>("statx");
  if (Strikes("stat", at, path)) return -1;
  const DiskName own(at, path);
  const int result = next(at, own, flags, mask, to);
  if (result == 0 && odd && *path && !strchr(path, '/') && OnDisk(at, path)) {
    for (const char* c = path; *c; ++c) to->stx_ino = to->stx_ino * 31 + static_cast<__u8>(*c);
  }
  if (result == 0 && (*path ? OnFat(at, path) : OnFat(at))) {
    to->stx_ctime.tv_sec -= to->stx_ctime.tv_sec % 2;
    to->stx_ctime.tv_nsec = 0;
  }
  return result;
}
PASS_ON_AT("stat", int, fstatat, (int at, const char* path, struct stat* to, int flags), at, own,
           to, flags)
PASS_ON_FILE("stat", int, fstat, (int file, struct stat* to), file, to)
PASS_ON_AT("stat", int, faccessat, (int at, const char* path, int mode, int flags), at, own, mode,
           flags)
PASS_ON_FILE("read", ssize_t, read, (int file, void* to, size_t length), file, to, length)
PASS_ON_AT("read", ssize_t, readlinkat, (int at, const char* path, char* to, size_t length), at,
           own, to, length)
extern "C" ssize_t getdents64(int file, void* to, size_t length) {
  static const auto next = Next<ssize_t (*)(int, void*, size_t)>("getdents64");
  if (Strikes("list", file)) return -1;
  const ssize_t got = next(file, to, length);
  for (ssize_t i = 0; lower && i < got && OnDisk(file, nullptr);) {
    auto* entry = reinterpret_cast<dirent64*>(static_cast<char*>(to) + i);
    for (char* c = entry->d_name; *c; ++c) *c = static_cast<char>(tolower(*c));
    i += entry->d_reclen;
  }
  return got;
}
PASS_ON_FILE("seek", off_t, lseek, (int file, off_t to, int whence), file, to, whence)
PASS_ON_FILE("resize", int, ftruncate, (int file, off_t size), file, size)
PASS_ON_AT("unlink", int, unlinkat, (int at, const char* path, int flags), at, own, flags)
PASS_ON_FILE("sync", int, fsync, (int file), file)
PASS_ON_FILE("sync", int, syncfs, (int file), file)
PASS_ON_PATH("stat", int, stat, (const char* path, struct stat* to), path, to)
PASS_ON_PATH("make", int, mkdir, (const char* path, mode_t mode), path, mode)
PASS_ON_PATH("unlink", int, unlink, (const char* path), path)
PASS_ON("spawn", pid_t, fork, ())
PASS_ON("spawn", int, pipe2, (int ends[2], int flags), ends, flags)
PASS_ON("spawn", int, memfd_create, (const char* name, unsigned flags), name, flags)

// What the archive program calls.
PASS_ON_PATH("stat", int, stat64, (const char* path, struct stat64* to), path, to)
PASS_ON_PATH("stat", int, lstat64, (const char* path, struct stat64* to), path, to)
PASS_ON_FILE("stat", int, fstat64, (int file, struct stat64* to), file, to)
PASS_ON_FILE("seek", off64_t, lseek64, (int file, off64_t to, int whence), file, to, whence)
PASS_ON_FILE("resize", int, ftruncate64, (int file, off64_t size), file, size)
PASS_ON_PATH("rename", int, rename, (const char* path, const char* to), path, to)
PASS_ON_PATH("unlink", int, remove, (const char* path), path)
PASS_ON_PATH("make", int, symlink, (const char* target, const char* path), target, path)

extern "C" int fstatfs(int file, struct statfs* to) {
  static const auto next = Next<int (*)(int, struct statfs*)>("fstatfs");
  const int result = next(file, to);
  if (OnFat(file)) to->f_type = MSDOS_SUPER_MAGIC;
  return result;
}

extern "C" int renameat(int from_at, const char* from, int at, const char* path) {
  static const auto next = Next<int (*)(int, const char*, int, const char*)>("renameat");
  if (Strikes("rename", at, path) || Refuses(at, path)) return -1;
  return next(from_at, DiskName(from_at, from), at, DiskName(at, path));
}

extern "C" int renameat2(int from_at, const char* from, int at, const char* path, unsigned flags) {
  static const auto next = Next<int (*)(int, const char*, int, const char*, unsigned)>("renameat2");
  if (Strikes("rename", at, path) || Refuses(at, path)) return -1;
  return next(from_at, DiskName(from_at, from), at, DiskName(at, path), flags);
}

extern "C" int mkdirat(int at, const char* path, mode_t mode) {
  static const auto next = Next<int (*)(int, const char*, mode_t)>("mkdirat");
  if (Strikes("make", at, path) || Refuses(at, path)) return -1;
  return next(at, DiskName(at, path), mode);
}

extern "C" int symlinkat(const char* target, int at, const char* path) {
  static const auto next = Next<int (*)(const char*, int, const char*)>("symlinkat");
  if (Strikes("make", at, path)) return -1;
  if (OnFat(at, path)) errno = EPERM;
  return OnFat(at, path) ? -1 : next(target, at, DiskName(at, path));
}

extern "C" int linkat(int from_at, const char* from, int at, const char* path, int flags) {
  static const auto next = Next<int (*)(int, const char*, int, const char*, int)>("linkat");
  if (Strikes("link", at, path)) return -1;
  if (OnFat(at, path)) errno = EPERM;
  return OnFat(at, path) ? -1
                         : next(from_at, DiskName(from_at, from), at, DiskName(at, path), flags);
}

extern "C" int futimens(int file, const struct timespec times[2]) {
  static const auto next = Next<int (*)(int, const struct timespec[2])>("futimens");
  if (Strikes("attributes", file)) return -1;
  const timespec even[2] = {EvenSeconds(times[0]), EvenSeconds(times[1])};
  return next(file, OnFat(file) ? even : times);
}

extern "C" int utimensat(int at, const char* path, const struct timespec times[2], int flags) {
  static const auto next =
      Next<int (*)(int, const char*, const struct timespec[2], int)>("utimensat");
  return Strikes("attributes", at, path) ? -1 : next(at, DiskName(at, path), times, flags);
}

extern "C" int fchmod(int file, mode_t mode) {
  static const auto next = Next<int (*)(int, mode_t)>("fchmod");
  if (Strikes("attributes", file)) return -1;
  if (OnFat(file)) errno = EPERM;
  return OnFat(file) ? -1 : next(file, mode);
}

extern "C" int fchown(int file, uid_t owner, gid_t group) {
  static const auto next = Next<int (*)(int, uid_t, gid_t)>("fchown");
  if (Strikes("attributes", file)) return -1;
  if (OnFat(file)) errno = EPERM;
  return OnFat(file) ? -1 : next(file, owner, group);
}

// An entry that the program only holds is reached by the path of its handle.
extern "C" int chmod(const char* path, mode_t mode) {
  static const auto next = Next<int (*)(const char*, mode_t)>("chmod");
  int held = AT_FDCWD;
  const bool holds = sscanf(path, "/proc/self/fd/%d", &held) == 1;
  if (Strikes("attributes", held, holds ? nullptr : path)) return -1;
  const bool refused = holds && OnFat(held);
  if (refused) errno = EPERM;
  return refused ? -1 : next(path, mode);
}

extern "C" int fchownat(int at, const char* path, uid_t owner, gid_t group, int flags) {
  static const auto next = Next<int (*)(int, const char*, uid_t, gid_t, int)>("fchownat");
  const char* place = *path ? path : nullptr;
  if (Strikes("attributes", at, place)) return -1;
  const bool refused = OnFat(at, place);
  if (refused) errno = EPERM;
  return refused ? -1 : next(at, DiskName(at, path), owner, group, flags);
}

extern "C" int openat(int at, const char* path, int flags, ...) {
  static const auto next = Next<int (*)(int, const char*, int, ...)>("openat");
  va_list arguments;
  va_start(arguments, flags);
  mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  if (Strikes("open", at, path)) return -1;
  if (flags & O_CREAT && OnFat(at, path)) {
    if (Refuses(at, path)) return -1;
    mode = 0777;
  }
  return next(at, DiskName(at, path), flags, mode);
}

#define PASS_ON_OPEN(name)                                                 \
  extern "C" int name(const char* path, int flags, ...) {                  \
    static const auto next = Next<int (*)(const char*, int, ...)>(#name);  \
    va_list arguments;                                                     \
    va_start(arguments, flags);                                            \
    const mode_t mode = ModeOf(flags, arguments);                          \
    va_end(arguments);                                                     \
    return Strikes("open", AT_FDCWD, path) ? -1 : next(path, flags, mode); \
  }
PASS_ON_OPEN(open)
PASS_ON_OPEN(open64)

extern "C" int close(int file) {
  static const auto next = Next<int (*)(int)>("close");
  const bool strikes = Strikes("close", file);
  const int result = next(file);  // Whatever it reports, the system lets go of the file.
  if (strikes) errno = plan.Error;
  return strikes ? -1 : result;
}

extern "C" ssize_t write(int file, const void* from, size_t length) {
  static const auto next = Next<ssize_t (*)(int, const void*, size_t)>("write");
  if (!Strikes("write", file)) return next(file, from, length);
  return plan.Short ? next(file, from, (length + 1) / 2) : -1;
}

extern "C" ssize_t pwrite(int file, const void* from, size_t length, off_t at) {
  static const auto next = Next<ssize_t (*)(int, const void*, size_t, off_t)>("pwrite");
  if (!Strikes("write", file)) return next(file, from, length, at);
  return plan.Short ? next(file, from, (length + 1) / 2, at) : -1;
}

extern "C" ssize_t copy_file_range(int from, off64_t* from_at, int to, off64_t* to_at,
                                   size_t length, unsigned flags) {
  static const auto next =
      Next<ssize_t (*)(int, off64_t*, int, off64_t*, size_t, unsigned)>("copy_file_range");
  if (!Strikes("copy", from) && (plan.Under == nullptr || !Strikes("copy", to))) {
    return next(from, from_at, to, to_at, length, flags);
  }
  return plan.Short ? next(from, from_at, to, to_at, (length + 1) / 2, flags) : -1;
}

extern "C" time_t time(time_t* to) {
  static const auto next = Next<time_t (*)(time_t*)>("time");
  static const char* const set = getenv("KAVREL_CLOCK");
  if (!set) return next(to);
  const time_t now = atol(set);
  if (to) *to = now;
  return now;
}
extern "C" int nanosleep(const struct timespec*, struct timespec*) {
  return 0;
}
extern "C" int clock_nanosleep(clockid_t, int, const struct timespec*, struct timespec*) {
  return 0;
}
extern "C" int poll(struct pollfd* files, nfds_t count, int milliseconds) {
  static const auto next = Next<int (*)(struct pollfd*, nfds_t, int)>("poll");
  constexpr int kFaster = 50;
  return next(files, count,
              milliseconds > 0 ? (milliseconds + kFaster - 1) / kFaster : milliseconds);
}
// NOLINTEND
