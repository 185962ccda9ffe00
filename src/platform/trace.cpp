#include "platform/trace.h"

#include <chrono>
#include <cstdio>
#include <mutex>
#include <sstream>
#include <thread>

#include "base/number.h"
#include "base/text.h"
#include "platform/files.h"
#include "platform/folders.h"

namespace kavrel {

std::atomic<bool> tracing{false};

namespace {

std::mutex file_guard;

/// Never closed: threads may still have something to tell while the process ends.
File& TraceFile() {
  static File& file = *new File;
  return file;
}

/// The universal time, since reports come from everywhere.
std::string Now() {
  using namespace std::chrono;
  const auto now = floor<milliseconds>(system_clock::now());
  const auto day = floor<days>(now);
  const year_month_day date(day);
  const hh_mm_ss time(now - day);
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
                static_cast<int>(time.subseconds().count()));
  return text;
}

std::u16string ErrorWords(ErrorCode error) {
  return error ? u": error " + Decimal(error) + u", " + SystemErrorText(error) : std::u16string();
}

}  // namespace

ErrorCode StartTrace(std::u16string_view file) {
  const std::u16string path = file.empty() ? DebugFile() : std::u16string(file);
  if (path.empty()) return 0;
  Result<File> opened = FileSystem({}).OpenForUpdate(AbsolutePath(path));
  if (!opened) return opened.Error;
  const Result<FileStatus> status = opened->Status();
  if (!status) return status.Error;
  if (const ErrorCode error = opened->Seek(status->Size)) return error;
  TraceFile() = std::move(*opened);
  tracing = true;
  return 0;
}

void Trace(std::string_view topic, std::initializer_list<std::u16string_view> words) {
  if (!Tracing()) return;
  std::ostringstream thread;
  thread << std::this_thread::get_id();
  std::string line = Now() + " " + thread.str() + " ";
  line += topic;
  line += ": ";
  std::string text;
  for (const std::u16string_view word : words) text += ToUtf8(word);
  for (const char c : text) {
    if (c == '\n' || c == '\r') {
      line += c == '\n' ? "\\n" : "\\r";
    } else {
      line += c;
    }
  }
  line += '\n';
  const std::lock_guard lock(file_guard);
  TraceFile().Write(line);
}

void TraceEffect(std::u16string_view what, std::u16string_view path, std::u16string_view name,
                 ErrorCode error) {
  if (Tracing()) Trace("effect", {what, u" ", path, name, ErrorWords(error)});
}

void TraceChild(std::string_view program, const std::vector<std::string>& arguments,
                ErrorCode error) {
  if (!Tracing()) return;
  std::u16string line = FromUtf8(program);
  for (const std::string& argument : arguments) {
    // An archive program takes a password behind this; none is ever given one so.
    const bool secret = argument.starts_with("-p") && argument.size() > 2;
    line += u" [" + (secret ? std::u16string(u"-p***") : FromUtf8(argument)) + u"]";
  }
  Trace("child", {error ? u"not started " : u"started ", line, ErrorWords(error)});
}

void TraceExit(int code) {
  if (Tracing()) Trace("child", {u"ended with ", Decimal(code)});
}

}  // namespace kavrel
