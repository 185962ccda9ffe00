#include "support/command.h"

#include <windows.h>

#include <cstdint>
#include <filesystem>

namespace kavrel {

namespace {

// What the programs say is the same wherever the tests run; a test that wants another language says
// so.
[[maybe_unused]] const bool kSpeakAlike =
    setenv("LC_ALL", "C.UTF-8", 1) == 0 && setenv("LANGUAGE", "", 1) == 0;

std::wstring CommandLine(const std::vector<std::string>& words) {
  std::wstring line;
  for (const std::string& word : words) {
    if (!line.empty()) line += L' ';
    line += L'"';
    const std::wstring wide = std::filesystem::path(word).wstring();
    for (const wchar_t c : wide) {
      if (c == L'"') line += L'\\';
      line += c;
    }
    if (word.ends_with('\\')) line += L'\\';
    line += L'"';
  }
  return line;
}

/// A file of the temporary folder that a program may inherit, and that goes when it is closed.
HANDLE OpenScratch() {
  wchar_t folder[MAX_PATH], name[MAX_PATH];
  if (!GetTempPathW(MAX_PATH, folder) || !GetTempFileNameW(folder, L"kvt", 0, name)) abort();
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  return CreateFileW(name, GENERIC_READ | GENERIC_WRITE,
                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherited,
                     CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr);
}

std::string Content(HANDLE file) {
  std::string text(1 << 20, '\0');
  OVERLAPPED from{};
  DWORD got = 0;
  if (!ReadFile(file, text.data(), static_cast<DWORD>(text.size()), &got, &from)) got = 0;
  text.resize(got);
  return text;
}

HANDLE StartWith(const std::vector<std::string>& words, HANDLE in, HANDLE out, HANDLE errors) {
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = in;
  start.hStdOutput = out;
  start.hStdError = errors;
  std::wstring line = CommandLine(words);
  PROCESS_INFORMATION started{};
  if (!CreateProcessW(std::filesystem::path(words[0]).c_str(), line.data(), nullptr, nullptr, TRUE,
                      CREATE_NEW_PROCESS_GROUP, nullptr, nullptr, &start, &started)) {
    return nullptr;
  }
  CloseHandle(started.hThread);
  return started.hProcess;
}

int ExitCodeOf(HANDLE process) {
  DWORD code = 127;
  if (!process) return 127;
  WaitForSingleObject(process, INFINITE);
  GetExitCodeProcess(process, &code);
  CloseHandle(process);
  return static_cast<int>(code);
}

}  // namespace

CommandResult RunCommand(const std::vector<std::string>& arguments, const std::string& input) {
  const HANDLE in = OpenScratch(), out = OpenScratch(), errors = OpenScratch();
  DWORD put = 0;
  WriteFile(in, input.data(), static_cast<DWORD>(input.size()), &put, nullptr);
  SetFilePointer(in, 0, nullptr, FILE_BEGIN);
  CommandResult result;
  result.ExitCode = ExitCodeOf(StartWith(arguments, in, out, errors));
  result.Output = Content(out);
  result.Errors = Content(errors);
  for (const HANDLE file : {in, out, errors}) CloseHandle(file);
  return result;
}

namespace {

HANDLE ToHandle(pid_t process) {
  return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(process));
}

}  // namespace

// Handles take the place of the process number and of the stream.
BackgroundCommand::BackgroundCommand(const std::vector<std::string>& arguments) {
  const HANDLE in = OpenScratch(), out = OpenScratch();
  output_ = static_cast<FILE*>(out);
  const HANDLE process = StartWith(arguments, in, out, in);
  process_ = process ? static_cast<pid_t>(reinterpret_cast<std::intptr_t>(process)) : -1;
  CloseHandle(in);
}

BackgroundCommand::~BackgroundCommand() {
  if (process_ >= 0) {
    TerminateProcess(ToHandle(process_), 137);
    Wait();
  }
  CloseHandle(output_);
}

std::string BackgroundCommand::Output() const {
  return Content(output_);
}

int BackgroundCommand::Wait() {
  const int code = ExitCodeOf(ToHandle(process_));
  process_ = -1;
  return code;
}

}  // namespace kavrel
