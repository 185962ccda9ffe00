#include "log/job_log.h"

#include "base/number.h"
#include "files/path.h"
#include "platform/error_codes.h"
#include "platform/trace.h"

namespace kavrel {

namespace {

constexpr std::size_t kFlushAt = 32768;      // UTF-16 units
constexpr std::uint64_t kFlushAfter = 1000;  // milliseconds
constexpr std::u16string_view kBannerEdge = u"###################";

std::u16string Banner(std::u16string_view label, DateTime time) {
  std::u16string line(kBannerEdge);
  line += u" - ";
  line += label;
  line += BannerTime(time);
  line += u" - ";
  line += kBannerEdge;
  return line;
}

}  // namespace

std::u16string LogFolder(const FileSystem& file_system) {
  return AddBackslash(JoinPath(file_system.ProgramFolder(), u"Log"));
}

JobLog::JobLog(const FileSystem& file_system, Clock& clock, bool silent)
    : file_system_(file_system), clock_(clock), silent_(silent) {}

JobLog::~JobLog() {
  if (file_) Flush();
}

void JobLog::OpenJobLog() {
  if (file_ || silent_) return;
  const DateTime now = clock_.Now();
  const std::u16string folder_path = LogFolder(file_system_);
  const std::u16string stamp = LogFileStamp(now);
  std::u16string name = stamp + std::u16string(kJobLogEnding);
  const Result<Folder> folder = file_system_.OpenFolder(folder_path);
  FileStatus like;
  like.Mode = 0600;
  Result<File> file = Result<File>::Fail(folder.Error);
  for (int number = 2; folder; ++number) {
    file = folder->MakeFile(name, like);
    if (!IsTaken(file.Error)) break;
    name = stamp + u" (" + Decimal(number) + u")" + std::u16string(kJobLogEnding);
  }
  path_ = folder_path + name;
  failed_ = !file;
  opened_ = bool(file);
  if (failed_) return;
  file_ = std::move(*file);
  buffer_ = u'\uFEFF';
  flushed_at_ = clock_.TickCount();
  WriteJobLog(Banner(u"開始時間：", now));
  Flush();
}

void JobLog::WriteJobLog(std::u16string_view line) {
  if (failed_ || silent_) return;
  if (!file_) OpenJobLog();
  if (failed_) return;
  buffer_ += line;
  buffer_ += u"\r\n";
  if (buffer_.size() >= kFlushAt || clock_.TickCount() - flushed_at_ > kFlushAfter) Flush();
}

void JobLog::FlushDue(bool all) {
  if (!file_ || failed_ || buffer_.empty()) return;
  if (all || clock_.TickCount() - flushed_at_ > kFlushAfter) Flush();
}

void JobLog::WriteTimed(std::u16string_view text) {
  if (silent_) return;
  Trace("log", {text});
  const DateTime now = clock_.Now();
  if (time_text_.empty() || now != time_) {
    time_ = now;
    time_text_ = DateTimeText(now);
  }
  line_.assign(time_text_);
  line_ += text;
  // A file may have a line break in its name; it must not pass for another line of the log.
  for (char16_t& c : line_) {
    if (c == u'\n' || c == u'\r') c = c == u'\n' ? u'␊' : u'␍';
  }
  WriteJobLog(line_);
}

void JobLog::CloseJobLog() {
  if (!file_) return;
  WriteJobLog(Banner(u"完成時間：", clock_.Now()));
  if (!failed_) Flush();
  // What the run is told to have done can be read after a power cut, too.
  if (file_.Sync() != 0) failed_ = true;
  if (file_.Close() != 0) failed_ = true;
}

void JobLog::Flush() {
  std::string bytes(buffer_.size() * 2, '\0');
  for (std::size_t i = 0; i < buffer_.size(); ++i) {
    bytes[2 * i] = static_cast<char>(buffer_[i] & 0xFF);
    bytes[2 * i + 1] = static_cast<char>(buffer_[i] >> 8);
  }
  buffer_.clear();
  flushed_at_ = clock_.TickCount();
  if (file_.Write(bytes) != 0) failed_ = true;
}

std::u16string_view JobLogName(std::u16string_view path) {
  const std::size_t separator = path.find_last_of(u"\\/");
  return separator == path.npos ? path : path.substr(separator + 1);
}

Result<std::u16string> ReadJobLog(const FileSystem& file_system, std::u16string_view path) {
  Result<std::string> bytes = file_system.ReadWhole(path);
  if (IsNotFound(bytes.Error)) {
    bytes = file_system.ReadWhole(LogFolder(file_system) + std::u16string(JobLogName(path)));
  }
  Result<std::u16string> text{{}, bytes.Error};
  for (std::size_t i = 0; i + 1 < bytes->size(); i += 2) {
    const auto low = static_cast<unsigned char>((*bytes)[i]);
    const auto high = static_cast<unsigned char>((*bytes)[i + 1]);
    text->push_back(static_cast<char16_t>(low | high << 8));
  }
  if (text->starts_with(u'\uFEFF')) text->erase(0, 1);
  return text;
}

}  // namespace kavrel
