#include "platform/child_process.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

#include "platform/posix/native.h"
#include "platform/trace.h"

namespace kavrel {

using posix::Handle;
using posix::Retry;

ChildProcess::~ChildProcess() {
  if (process_ > 0) {
    Kill();
    Wait();
  }
  if (output_ >= 0) close(output_);
}

ErrorCode ChildProcess::Start(const std::string& program, const std::vector<std::string>& arguments,
                              const std::string& folder, std::string_view input,
                              const std::vector<std::string>& environment) {
  // A file in memory, unlike a pipe, cannot block or break when the program does not read it.
  const Handle in(memfd_create("input", MFD_CLOEXEC));
  if (!in || write(in.Get(), input.data(), input.size()) != static_cast<ssize_t>(input.size()) ||
      lseek(in.Get(), 0, SEEK_SET) != 0) {
    return errno;
  }
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return errno;
  const Handle out(ends[1]);
  output_ = ends[0];
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  // Of two variables of one name the first counts.
  std::vector<char*> variables;
  variables.reserve(environment.size());
  for (const std::string& own : environment) variables.push_back(const_cast<char*>(own.c_str()));
  for (char** inherited = environ; *inherited; ++inherited) variables.push_back(*inherited);
  variables.push_back(nullptr);

  const pid_t parent = getpid();
  process_ = fork();
  if (process_ < 0) {
    const ErrorCode error = errno;
    TraceChild(program, arguments, error);
    return error;
  }
  if (process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(126);
    // An interrupt from the terminal is for the parent, which ends this program in its own time.
    setpgid(0, 0);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) signal(number, SIG_DFL);
    if (dup2(in.Get(), 0) < 0 || dup2(out.Get(), 1) < 0 || dup2(out.Get(), 2) < 0 ||
        chdir(folder.c_str()) != 0) {
      _exit(126);
    }
    execve(program.c_str(), argv.data(), variables.data());
    _exit(127);
  }
  TraceChild(program, arguments, 0);
  return 0;
}

bool ChildProcess::Read(std::string& output, std::uint32_t wait_milliseconds) {
  pollfd waiting{output_, POLLIN, 0};
  if (poll(&waiting, 1, static_cast<int>(wait_milliseconds)) <= 0) return true;
  char buffer[4096];
  const ssize_t got = Retry([&] { return read(output_, buffer, sizeof buffer); });
  // What it still has to say is lost; nobody must take the beginning for the whole.
  if (got < 0) {
    lost_ = true;
    Kill();
  }
  if (got <= 0) return false;
  output.append(buffer, static_cast<std::size_t>(got));
  return true;
}

namespace {

std::string ReadProc(const std::string& path) {
  const Handle file(Retry([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC); }));
  char buffer[2048];
  const ssize_t got = file ? Retry([&] { return read(file.Get(), buffer, sizeof buffer); }) : 0;
  return {buffer, static_cast<std::size_t>(std::max<ssize_t>(got, 0))};
}

}  // namespace

bool ChildProcess::Worked() {
  const std::string folder = "/proc/" + std::to_string(process_);
  DIR* threads = opendir((folder + "/task").c_str());
  if (!threads) return true;  // Nothing is known of it.
  std::string work = ReadProc(folder + "/io");
  bool at_work = false;
  while (const dirent* thread = readdir(threads)) {
    if (thread->d_name[0] == '.') continue;
    const std::string stat = ReadProc(folder + "/task/" + thread->d_name + "/stat");
    // Behind the name, in brackets that it may hold as well: the state, ten fields, the times.
    const std::size_t name_end = stat.rfind(')');
    if (name_end == stat.npos || name_end + 2 >= stat.size()) continue;
    const char state = stat[name_end + 2];
    at_work = at_work || (state != 'S' && state != 'Z');
    std::size_t at = name_end + 1;
    for (int field = 0; field < 12 && at != stat.npos; ++field) at = stat.find(' ', at + 1);
    if (at == stat.npos) continue;
    work += stat.substr(at, stat.find(' ', stat.find(' ', at + 1) + 1) - at);
  }
  closedir(threads);
  const bool changed = work != work_;
  work_ = std::move(work);
  return changed || at_work;
}

void ChildProcess::Kill() {
  if (process_ <= 0) return;
  // With its whole group, for it may have started programs of its own; until it has made that
  // group, there is only itself.
  kill(process_, SIGKILL);
  kill(-process_, SIGKILL);
}

int ChildProcess::Wait() {
  int status = 0;
  if (process_ <= 0 || Retry([&] { return waitpid(process_, &status, 0); }) < 0) return -1;
  process_ = -1;
  const int code = lost_               ? 128 + SIGKILL
                   : WIFEXITED(status) ? WEXITSTATUS(status)
                                       : 128 + WTERMSIG(status);
  TraceExit(code);
  return code;
}

std::string FindProgram(std::span<const std::string_view> names, const std::string& folder) {
  const char* path = getenv("PATH");
  char own[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", own, sizeof own);
  const std::string beside(own, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
  const std::string places =
      folder + ":" + beside.substr(0, beside.rfind('/')) + ":" + (path ? path : "/usr/bin:/bin");
  for (const std::string_view name : names) {
    for (std::size_t at = 0; at <= places.size();) {
      const std::size_t end = std::min(places.find(':', at), places.size());
      const std::string program = places.substr(at, end - at) + "/" + std::string(name);
      if (program[0] == '/' && access(program.c_str(), X_OK) == 0) return program;
      at = end + 1;
    }
  }
  return {};
}

}  // namespace kavrel
