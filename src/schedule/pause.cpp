#include "schedule/pause.h"

#include "base/text.h"
#include "base/translation.h"
#include "files/path.h"
#include "platform/error_codes.h"
#include "platform/files.h"

namespace kavrel {

using namespace std::chrono;

namespace {

constexpr std::size_t kLongest = 4096;
constexpr std::u16string_view kNoEndWord = u"-";

struct Times {
  DateTime Begun, End;
};

/// One line: when it was begun, a TAB, its end.
std::optional<Times> ReadTimes(std::string_view bytes) {
  const std::u16string text = FromUtf8(bytes.substr(0, bytes.find_first_of("\r\n")));
  const std::vector<std::u16string_view> parts = Split(text, u'\t');
  if (parts.size() != 2) return std::nullopt;
  const std::optional<DateTime> begun = ParseDateTime(parts[0]);
  const std::optional<DateTime> end =
      parts[1] == kNoEndWord ? std::optional(kNoEnd) : ParseDateTime(parts[1]);
  if (!begun || !end) return std::nullopt;
  return Times{*begun, *end};
}

}  // namespace

SchedulePause::SchedulePause(const FileSystem& files, Clock& clock)
    : files_(files), clock_(clock), path_(JoinPath(files.ProgramFolder(), u"Pause.txt")) {}

std::optional<DateTime> SchedulePause::End() const {
  const Result<std::string> bytes = files_.ReadWhole(path_, kLongest);
  last_error_ = bytes || IsNotFound(bytes.Error) ? 0 : bytes.Error;
  if (!bytes) return std::nullopt;
  const std::optional<Times> times = ReadTimes(*bytes);
  if (!times) {
    last_error_ = kErrInvalid;
    return std::nullopt;
  }
  const DateTime now = clock_.Now();
  if (times->End == kNoEnd) return kNoEnd;
  if (times->End <= now || times->Begun > now + days(1)) return std::nullopt;
  return times->End;
}

ErrorCode SchedulePause::Begin(DateTime end) {
  const std::u16string line = IsoText(clock_.Now()) + u'\t' +
                              (end == kNoEnd ? std::u16string(kNoEndWord) : IsoText(end)) + u"\r\n";
  return files_.ReplaceWhole(path_, ToUtf8(line));
}

ErrorCode SchedulePause::Resume() {
  const ErrorCode error = files_.RemoveFile(path_);
  return IsNotFound(error) ? 0 : error;
}

DateTime EndOfPause(PauseChoice choice, DateTime now) {
  switch (choice) {
    case PauseChoice::Hour:
      return now + hours(1);
    case PauseChoice::Tomorrow:
      return floor<days>(now) + days(1);
    case PauseChoice::NoEnd:
      break;
  }
  return kNoEnd;
}

std::u16string PauseText(DateTime end) {
  return end == kNoEnd ? u"排程已暫停，直到您恢復為止"
                       : Fill(u"排程已暫停至 %1", {DateTimeText(end)});
}

}  // namespace kavrel
