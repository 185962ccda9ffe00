#include "log/program_log.h"

#include <algorithm>

#include "base/text.h"
#include "files/path.h"
#include "log/job_log.h"
#include "platform/code_page.h"
#include "platform/error_codes.h"
#include "platform/files.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kFileName = u"QVDlog.log", kOtherFileName = u"QVDlog.Log";

/// Reads one record of quoted comma-separated fields off the front. Quoted fields may hold commas,
/// line breaks and doubled quotation marks; fields beyond the row's are dropped.
LogColumns TakeRecord(std::u16string_view& text) {
  LogColumns row;
  std::size_t field = 0, at = 0;
  bool quoted = false, start = true;
  for (; at < text.size(); ++at) {
    const char16_t c = text[at];
    if (quoted) {
      if (c != u'"') {
        if (field < row.size()) row[field] += c;
      } else if (at + 1 < text.size() && text[at + 1] == u'"') {
        if (field < row.size()) row[field] += c;
        ++at;
      } else {
        quoted = false;
      }
    } else if (c == u'"' && start) {
      quoted = true;
      start = false;
    } else if (c == u',') {
      ++field;
      start = true;
    } else if (c == u'\n') {
      ++at;
      break;
    } else if (c != u'\r') {
      if (field < row.size()) row[field] += c;
      start = false;
    }
  }
  text.remove_prefix(at);
  return row;
}

}  // namespace

ProgramLog::ProgramLog(const FileSystem& file_system, LogList& rows)
    : file_system_(file_system), rows_(rows) {}

void ProgramLog::LoadProgramLog() {
  const std::u16string folder = LogFolder(file_system_);
  Result<std::string> bytes = file_system_.ReadWhole(folder + std::u16string(kFileName));
  if (IsNotFound(bytes.Error)) {
    bytes = file_system_.ReadWhole(folder + std::u16string(kOtherFileName));
  }
  unreadable_ = !bytes && !IsNotFound(bytes.Error);
  if (!bytes) {
    file_system_.MakeFolders(folder);
    SaveProgramLog();
    return;
  }
  const std::u16string text = DecodeTextFile(*bytes);
  for (std::u16string_view rest = text; !rest.empty();) {
    LogColumns columns = TakeRecord(rest);
    if (columns != LogColumns()) rows_.Append(ReadLogRow(std::move(columns)));
  }
}

bool ProgramLog::SaveProgramLog() {
  if (unreadable_) return false;
  std::u16string text;
  for (const LogRow& row : rows_.Rows()) {
    const LogColumns columns = ColumnsOf(row);
    for (std::size_t field = 0; field < columns.size(); ++field) {
      text += field ? u",\"" : u"\"";
      text += ReplaceAll(columns[field], u"\"", u"\"\"");
      text += u'"';
    }
    text += u"\r\n";
  }
  std::string bytes = EncodeTextFile(text);
  // The end of a program follows the end of its last run, and each costs the disk a sync.
  if (bytes == saved_) return true;
  if (file_system_.ReplaceWhole(LogFolder(file_system_) + std::u16string(kFileName), bytes) != 0) {
    return false;
  }
  saved_ = std::move(bytes);
  return true;
}

void ProgramLog::TrimLogList(std::int32_t item) {
  if (rows_.Rows().empty()) return;
  const auto limit = static_cast<std::size_t>(item + 1) * 100;
  if (rows_.Rows().size() > limit) {
    const std::size_t oldest = limit - 30;
    for (std::size_t i = 0; i < oldest; ++i) DeleteJobLog(rows_.Rows()[i]);
    rows_.Remove(0, oldest);
  }
  SaveProgramLog();
}

void ProgramLog::DeleteSelectedLogs(std::span<const std::size_t> rows) {
  std::vector<std::size_t> last_first(rows.begin(), rows.end());
  std::sort(last_first.rbegin(), last_first.rend());
  // A position given twice would take the next row, too.
  last_first.erase(std::unique(last_first.begin(), last_first.end()), last_first.end());
  for (const std::size_t row : last_first) {
    if (row >= rows_.Rows().size()) continue;
    DeleteJobLog(rows_.Rows()[row]);
    rows_.Remove(row, 1);
  }
  SaveProgramLog();
}

void ProgramLog::DeleteAllLogs(std::u16string_view in_use) {
  rows_.Clear();
  if (const Result<Folder> folder = file_system_.OpenFolder(LogFolder(file_system_))) {
    FolderReader reader(*folder);
    while (const FolderEntry* entry = reader.Next()) {
      if (entry->Kind == FileKind::Folder || !EndsWithNoCase(entry->Name, kJobLogEnding)) continue;
      if (entry->Name != JobLogName(in_use)) folder->RemoveFile(entry->Name);
    }
  }
  SaveProgramLog();
}

void ProgramLog::DeleteJobLog(const LogRow& row) const {
  // The program log is a text file that anybody may edit or bring along from another machine: its
  // paths must never make us delete anything but a log of our own. Taking the name alone also
  // finds the logs of a program folder that was moved.
  const std::u16string_view name = JobLogName(row.LogPath);
  if (!name.ends_with(kJobLogEnding)) return;
  if (const Result<Folder> folder = file_system_.OpenFolder(LogFolder(file_system_))) {
    folder->RemoveFile(name);
  }
}

}  // namespace kavrel
