#include "support/command.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace kavrel {

namespace {

// What the programs say is the same wherever the tests run; a test that wants another language says
// so.
[[maybe_unused]] const bool kSpeakAlike =
    setenv("LC_ALL", "C.UTF-8", 1) == 0 && setenv("LANGUAGE", "", 1) == 0;

int ExitCodeOf(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) continue;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

pid_t Start(const std::vector<std::string>& arguments, int in, int out, int errors) {
  const pid_t process = fork();
  if (process != 0) return process;
  dup2(in, 0);
  dup2(out, 1);
  dup2(errors, 2);
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  execv(argv[0], argv.data());
  _exit(127);
}

std::string Content(FILE* file) {
  std::string text;
  rewind(file);
  for (int c = fgetc(file); c != EOF; c = fgetc(file)) text += static_cast<char>(c);
  fclose(file);
  return text;
}

}  // namespace

CommandResult RunCommand(const std::vector<std::string>& arguments, const std::string& input) {
  FILE* in = tmpfile();
  FILE* out = tmpfile();
  FILE* errors = tmpfile();
  if (!in || !out || !errors) abort();
  fwrite(input.data(), 1, input.size(), in);
  rewind(in);
  fflush(in);
  lseek(fileno(in), 0, SEEK_SET);
  CommandResult result;
  result.ExitCode = ExitCodeOf(Start(arguments, fileno(in), fileno(out), fileno(errors)));
  fclose(in);
  result.Output = Content(out);
  result.Errors = Content(errors);
  return result;
}

BackgroundCommand::BackgroundCommand(const std::vector<std::string>& arguments)
    : output_(tmpfile()) {
  if (!output_) abort();
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  process_ = Start(arguments, null, fileno(output_), null);
  close(null);
}

BackgroundCommand::~BackgroundCommand() {
  if (process_ >= 0) {
    kill(process_, SIGKILL);
    Wait();
  }
  fclose(output_);
}

std::string BackgroundCommand::Output() const {
  // The writer's place in the file is shared with it, so it is not moved.
  std::string text(1 << 20, '\0');
  const ssize_t length = pread(fileno(output_), text.data(), text.size(), 0);
  text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return text;
}

int BackgroundCommand::Wait() {
  const int code = ExitCodeOf(process_);
  process_ = -1;
  return code;
}

}  // namespace kavrel
