#include "platform/process.h"

#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "base/text.h"
#include "platform/posix/native.h"

namespace kavrel {

using posix::Handle;
using posix::Retry;

namespace {

std::string LockPath(std::u16string_view program_folder) {
  return ToUtf8(program_folder) + "/Kavrel.lock";
}

/// A lock on the whole file that belongs to the open file, not to the process. Unlike flock it can
/// be asked for without being taken, so a question never stands in another process's way.
struct flock WholeFile() {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return lock;
}

// A signal handler reaches nothing but a global.
std::atomic<bool> interrupt_requested{false};
static_assert(std::atomic<bool>::is_always_lock_free);

void NoteInterrupt(int signal_number) {
  const bool repeated = interrupt_requested.exchange(true);
  // A closing terminal may send its hang-up twice; only the other two are somebody insisting.
  if (!repeated || signal_number == SIGHUP) return;
  signal(signal_number, SIG_DFL);
  raise(signal_number);
}

}  // namespace

ProcessLock::~ProcessLock() {
  Release();
}

bool ProcessLock::TryAcquire(std::u16string_view program_folder, std::u16string_view purpose) {
  Release();
  const std::string path = LockPath(program_folder);
  const int file = Retry([&] {
    return open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
  });
  if (file < 0) return false;
  struct flock lock = WholeFile();
  if (fcntl(file, F_OFD_SETLK, &lock) != 0) {
    close(file);
    return false;
  }
  handle_ = file;
  // The lock counts, not the note: on a full disk only the answer of Holder is the poorer.
  note_ = ToUtf8(purpose) + " (process " + std::to_string(getpid()) + ")";
  NoteWork({});
  return true;
}

void ProcessLock::NoteWork(std::u16string_view work) {
  if (handle_ == kNoHandle) return;
  const std::string note = work.empty() ? note_ : note_ + "\n" + ToUtf8(work);
  if (ftruncate(handle_, 0) == 0) {
    Retry([&] { return pwrite(handle_, note.data(), note.size(), 0); });
  }
}

void ProcessLock::Release() {
  if (handle_ == kNoHandle) return;
  // The file itself stays: were it removed, two processes could each lock a file of that name.
  close(handle_);
  handle_ = kNoHandle;
}

std::optional<std::string> ProcessLock::NoteOfHolder(std::u16string_view program_folder) {
  const std::string path = LockPath(program_folder);
  const Handle file(
      Retry([&] { return open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC); }));
  struct flock lock = WholeFile();
  if (!file || fcntl(file.Get(), F_OFD_GETLK, &lock) != 0 || lock.l_type == F_UNLCK)
    return std::nullopt;
  std::string note(4096, '\0');
  const ssize_t length = Retry([&] { return read(file.Get(), note.data(), note.size()); });
  note.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return note;
}

std::u16string StartAddress(std::u16string_view program_folder) {
  struct stat folder, runtime;
  if (stat(ToUtf8(program_folder).c_str(), &folder) != 0) return {};
  const std::string name =
      "kavrel-" + std::to_string(folder.st_dev) + "-" + std::to_string(folder.st_ino) + ".socket";
  // The session's own folder, unless others could have put something there.
  const char* place = getenv("XDG_RUNTIME_DIR");
  if (place && *place == '/' && stat(place, &runtime) == 0 && S_ISDIR(runtime.st_mode) &&
      runtime.st_uid == geteuid() && (runtime.st_mode & 022) == 0) {
    return FromUtf8(std::string(place) + "/" + name);
  }
  if (folder.st_uid != geteuid() || (folder.st_mode & 022) != 0) return {};
  return std::u16string(program_folder) + u"/Kavrel.socket";
}

void LetOthersComeForward() {}

void RaiseOpenFileLimit() {
  // Far deeper than any tree; programs that we start may walk through all their numbers.
  constexpr rlim_t kEnough = 65536;
  rlimit limit;
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= kEnough) return;
  limit.rlim_cur = std::min(limit.rlim_max, kEnough);
  setrlimit(RLIMIT_NOFILE, &limit);
}

std::size_t OpenFileLimit() {
  rlimit limit;
  return getrlimit(RLIMIT_NOFILE, &limit) == 0 ? static_cast<std::size_t>(limit.rlim_cur) : 0;
}

bool StackRunsLow() {
  // A walk is at its deepest where it copies and writes its log: that fits in here.
  static constexpr std::uintptr_t kReserve = 256 << 10;
  thread_local const std::uintptr_t lowest = [] {
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) return std::uintptr_t{0};
    void* start = nullptr;
    std::size_t size = 0;
    const int error = pthread_attr_getstack(&attributes, &start, &size);
    pthread_attr_destroy(&attributes);
    if (error) return std::uintptr_t{0};
    return reinterpret_cast<std::uintptr_t>(start) + std::min<std::uintptr_t>(kReserve, size / 2);
  }();
  return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) < lowest;
}

void SecureStreams() {
  int file = open("/dev/null", O_RDWR);
  while (file >= 0 && file <= STDERR_FILENO) file = dup(file);
  if (file > STDERR_FILENO) close(file);
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
}

bool FinishOutput() {
  return fflush(stdout) == 0 && ferror(stdout) == 0;
}

void KeepMemoryOutOfDumps() {
  // One byte, not none: with none, a system that hands crashes to a program still hands it all.
  rlimit limit;
  if (getrlimit(RLIMIT_CORE, &limit) != 0) return;
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 1);
  setrlimit(RLIMIT_CORE, &limit);
}

void WatchForInterrupt() {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    // What was ignored when we were started (by nohup, say) stays ignored.
    if (sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = NoteInterrupt;
    action.sa_flags = SA_RESTART;
    sigaction(number, &action, nullptr);
  }
}

bool InterruptRequested() {
  return interrupt_requested;
}

void WaitForInterrupt(std::uint32_t milliseconds) {
  // The signals are held back between the question and the wait, so that none falls in between.
  sigset_t held, before;
  sigemptyset(&held);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&held, number);
  sigprocmask(SIG_BLOCK, &held, &before);
  const timespec time{static_cast<time_t>(milliseconds / 1000),
                      static_cast<long>(milliseconds % 1000) * 1000000};
  if (!interrupt_requested) ppoll(nullptr, 0, &time, &before);
  sigprocmask(SIG_SETMASK, &before, nullptr);
}

void TrimWorkingSet() {
  malloc_trim(0);
}

std::vector<std::string> ConsoleArguments(int argc, char** argv) {
  return {argv, argv + argc};
}

bool OutputIsJournal() {
  const char* stream = getenv("JOURNAL_STREAM");
  struct stat output;
  if (!stream || fstat(STDOUT_FILENO, &output) != 0) return false;
  return stream == std::to_string(output.st_dev) + ":" + std::to_string(output.st_ino);
}

int OutputColumns() {
  winsize size{};
  if (!isatty(STDOUT_FILENO)) return 0;
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

}  // namespace kavrel
