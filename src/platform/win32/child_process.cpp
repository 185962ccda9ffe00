#include "platform/child_process.h"

#include <algorithm>

#include "base/text.h"
#include "platform/folders.h"
#include "platform/trace.h"
#include "platform/win32/native.h"

namespace kavrel {

using win32::Handle;

namespace {

constexpr DWORD kLook = 10;  // milliseconds between two looks at a pipe
constexpr UINT kKilled = 137;

/// An argument as the C library of the program reads it back: quoted where that is needed, with the
/// backslashes before a quotation mark doubled.
std::wstring QuoteArgument(const std::string& argument) {
  if (!argument.empty() && argument.find_first_of(" \t\"") == argument.npos) {
    return win32::Wide(FromUtf8(argument));
  }
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const char16_t c : FromUtf8(argument)) {
    if (c == u'"') quoted.append(backslashes + 1, L'\\');
    backslashes = c == u'\\' ? backslashes + 1 : 0;
    quoted += static_cast<wchar_t>(c);
  }
  return quoted.append(backslashes, L'\\') + L'"';
}

/// The environment of this process with the given variables in place of those of the same name.
std::wstring Environment(const std::vector<std::string>& own) {
  std::wstring block;
  const auto name_of = [](std::wstring_view entry) {
    return win32::Narrow(entry.substr(0, entry.find(L'=', 1)));
  };
  std::vector<std::u16string> names;
  for (const std::string& entry : own) {
    const std::wstring text = win32::Wide(FromUtf8(entry));
    names.push_back(name_of(text));
    block += text;
    block += L'\0';
  }
  wchar_t* inherited = GetEnvironmentStringsW();
  for (const wchar_t* at = inherited; at && *at; at += std::wstring_view(at).size() + 1) {
    const std::u16string name = name_of(at);
    const auto same = [&](const std::u16string& other) { return EqualNoCase(name, other); };
    if (std::any_of(names.begin(), names.end(), same)) continue;
    block += at;
    block += L'\0';
  }
  FreeEnvironmentStringsW(inherited);
  return block += L'\0';
}

struct Pipe {
  Handle Out, In;  ///< to read from, to write to
};

/// A pipe of which a program that is started inherits the one end.
bool MakePipe(Pipe& pipe, std::size_t size, bool inherit_in) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  HANDLE out = nullptr, in = nullptr;
  if (!CreatePipe(&out, &in, &inherited, static_cast<DWORD>(size))) return false;
  pipe = {Handle(out), Handle(in)};
  return SetHandleInformation(inherit_in ? out : in, HANDLE_FLAG_INHERIT, 0);
}

}  // namespace

ChildProcess::~ChildProcess() {
  if (process_ != kNoHandle) {
    Kill();
    Wait();
  }
  for (const HANDLE handle : {output_, group_}) {
    if (handle != kNoHandle) CloseHandle(handle);
  }
}

ErrorCode ChildProcess::Start(const std::string& program, const std::vector<std::string>& arguments,
                              const std::string& folder, std::string_view input,
                              const std::vector<std::string>& environment) {
  Pipe in, out;
  // With room for all of the input, writing it waits for nobody.
  if (!MakePipe(in, input.size() + 4096, false) || !MakePipe(out, 65536, true)) {
    return win32::LastError();
  }
  DWORD put = 0;
  if (!input.empty() &&
      !WriteFile(in.In.Get(), input.data(), static_cast<DWORD>(input.size()), &put, nullptr)) {
    return win32::LastError();
  }
  std::wstring line = QuoteArgument(program);
  for (const std::string& argument : arguments) line += L' ' + QuoteArgument(argument);
  std::wstring variables = Environment(environment);
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = in.Out.Get();
  start.hStdOutput = start.hStdError = out.In.Get();

  // What is in the job ends with its last handle, so with this process, however that ends.
  Handle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job.Get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
  PROCESS_INFORMATION started{};
  const std::wstring start_folder = win32::Wide(FromUtf8(folder));
  // A group of its own: an interrupt of the console is for the parent.
  if (!CreateProcessW(win32::Wide(FromUtf8(program)).c_str(), line.data(), nullptr, nullptr, TRUE,
                      CREATE_UNICODE_ENVIRONMENT | CREATE_NEW_PROCESS_GROUP | CREATE_NO_WINDOW |
                          CREATE_SUSPENDED,
                      variables.data(), start_folder.c_str(), &start, &started)) {
    const ErrorCode error = win32::LastError();
    TraceChild(program, arguments, error);
    return error;
  }
  TraceChild(program, arguments, 0);
  AssignProcessToJobObject(job.Get(), started.hProcess);
  ResumeThread(started.hThread);
  CloseHandle(started.hThread);
  process_ = started.hProcess;
  group_ = job.Release();
  output_ = out.Out.Release();
  return 0;
}

bool ChildProcess::Read(std::string& output, std::uint32_t wait_milliseconds) {
  const std::uint64_t until = GetTickCount64() + wait_milliseconds;
  for (;;) {
    DWORD waiting = 0;
    if (!PeekNamedPipe(output_, nullptr, 0, nullptr, &waiting, nullptr)) return false;
    if (waiting > 0) break;
    if (GetTickCount64() >= until) return true;
    ::Sleep(kLook);
  }
  char buffer[4096];
  DWORD got = 0;
  if (!ReadFile(output_, buffer, sizeof buffer, &got, nullptr) || got == 0) return false;
  output.append(buffer, got);
  return true;
}

bool ChildProcess::Worked() {
  FILETIME unused{}, kernel{}, user{};
  IO_COUNTERS io{};
  const HANDLE process = process_;
  if (!GetProcessTimes(process, &unused, &unused, &kernel, &user) ||
      !GetProcessIoCounters(process, &io)) {
    return true;  // Nothing is known of it.
  }
  std::string work(reinterpret_cast<const char*>(&kernel), sizeof kernel);
  work.append(reinterpret_cast<const char*>(&user), sizeof user);
  work.append(reinterpret_cast<const char*>(&io), sizeof io);
  const bool changed = work != work_;
  work_ = std::move(work);
  return changed;
}

void ChildProcess::Kill() {
  if (process_ == kNoHandle) return;
  // With what it has started itself.
  TerminateJobObject(group_, kKilled);
  TerminateProcess(process_, kKilled);
}

int ChildProcess::Wait() {
  DWORD code = 0;
  if (process_ == kNoHandle) return -1;
  WaitForSingleObject(process_, INFINITE);
  const bool known = GetExitCodeProcess(process_, &code);
  CloseHandle(process_);
  process_ = kNoHandle;
  TraceExit(known ? static_cast<int>(code) : -1);
  return known ? static_cast<int>(code) : -1;
}

std::string FindProgram(std::span<const std::string_view> names, const std::string& folder) {
  const std::u16string places =
      FromUtf8(folder) + u";" + ExecutableFolder() + u";" + win32::Variable(L"PATH");
  for (const std::string_view name : names) {
    for (const std::u16string_view place : Split(places, u';')) {
      if (place.empty()) continue;
      const std::u16string program = std::u16string(place) + u"\\" + FromUtf8(name) + u".exe";
      const DWORD found = GetFileAttributesW(win32::LongPathBuffer(program).c_str());
      if (found != INVALID_FILE_ATTRIBUTES && !(found & FILE_ATTRIBUTE_DIRECTORY)) {
        return ToUtf8(program);
      }
    }
  }
  return {};
}

}  // namespace kavrel
