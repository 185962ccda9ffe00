#include "log/log_row.h"

#include <algorithm>

#include "base/number.h"
#include "base/text.h"

namespace kavrel {

namespace {

struct Status {
  LogKind Kind;
  bool Stopped;
  std::u16string_view Text;
};
constexpr Status kStatuses[] = {
    {LogKind::Backup, false, u"備份完成"},       {LogKind::Backup, true, u"備份中斷"},
    {LogKind::Restore, false, u"還原完成"},      {LogKind::Restore, true, u"還原中斷"},
    {LogKind::Verification, false, u"驗證完成"}, {LogKind::Verification, true, u"驗證中斷"},
    {LogKind::TimeSetRight, false, u"時間更正"}};

std::u16string CountText(const std::optional<std::uint64_t>& count) {
  return count ? Grouped(*count) : std::u16string();
}

std::optional<std::uint64_t> ReadCount(std::u16string_view text) {
  const std::optional<double> number = ParseNumber(ReplaceAll(text, u",", u""));
  if (!number || *number < 0 || *number > 1e15) return std::nullopt;
  return static_cast<std::uint64_t>(*number);
}

std::u16string TimeText(const std::optional<DateTime>& time) {
  return time ? DateTimeText(*time) : std::u16string();
}

}  // namespace

std::u16string StatusText(const LogRow& row) {
  if (row.AsWritten) return (*row.AsWritten)[1];
  for (const Status& status : kStatuses) {
    if (status.Kind == row.Kind && status.Stopped == row.Stopped)
      return std::u16string(status.Text);
  }
  return {};
}

LogColumns ColumnsOf(const LogRow& row) {
  if (row.AsWritten) return *row.AsWritten;
  return {row.Job,
          StatusText(row),
          CountText(row.Copied),
          CountText(row.Unchanged),
          CountText(row.Failed),
          TimeText(row.Started),
          TimeText(row.NextRun),
          row.LogPath};
}

LogRow ReadLogRow(LogColumns columns) {
  LogRow row;
  row.Job = columns[0];
  const auto status = std::ranges::find(kStatuses, columns[1], &Status::Text);
  if (status != std::end(kStatuses)) {
    row.Kind = status->Kind;
    row.Stopped = status->Stopped;
  }
  row.Copied = ReadCount(columns[2]);
  row.Unchanged = ReadCount(columns[3]);
  row.Failed = ReadCount(columns[4]);
  row.Started = ParseDateTime(columns[5]);
  row.NextRun = ParseDateTime(columns[6]);
  row.LogPath = columns[kLogPathColumn];
  if (ColumnsOf(row) != columns) row.AsWritten = std::move(columns);
  return row;
}

bool IsBadRun(const LogRow& row) {
  return row.Stopped || row.Failed.value_or(0) > 0;
}

}  // namespace kavrel
