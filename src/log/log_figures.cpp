#include "log/log_figures.h"

#include <array>

#include "base/number.h"
#include "base/text.h"
#include "log/log_troubles.h"

namespace kavrel {

namespace {

constexpr std::array<std::u16string_view, 3> kBytes = {
    u"完成備份容量總計　：", u"完成還原容量總計　：", u"完成驗證容量總計　："};
constexpr std::array<std::u16string_view, 2> kSeconds = {u"執行備份所花費時間：",
                                                         u"執行驗證所花費時間："};

template <std::size_t Size>
std::optional<std::u16string_view> Behind(std::u16string_view line,
                                          const std::array<std::u16string_view, Size>& labels) {
  for (const std::u16string_view label : labels) {
    if (line.starts_with(label)) return line.substr(label.size());
  }
  return std::nullopt;
}

std::optional<double> Number(std::u16string_view text) {
  return ParseNumber(ReplaceAll(Trim(text), u",", u""));
}

/// "1.21 KB (1,234 位元)".
std::optional<std::uint64_t> ReadBytes(std::u16string_view text) {
  const std::size_t open = text.rfind(u'(');
  if (open == text.npos) return std::nullopt;
  const std::u16string_view rest = text.substr(open + 1);
  const std::optional<double> bytes = Number(rest.substr(0, rest.find(u' ')));
  if (!bytes || *bytes < 0 || *bytes > 1e18) return std::nullopt;
  return static_cast<std::uint64_t>(*bytes);
}

/// "850 奈秒" (which are milliseconds), "12.345 秒", "2 分, 5.500 秒".
std::optional<double> ReadSeconds(std::u16string_view text) {
  constexpr std::u16string_view kMilliseconds = u"奈秒", kSecond = u"秒", kMinutes = u" 分";
  double seconds = 0;
  if (const std::size_t minutes = text.find(kMinutes); minutes != text.npos) {
    const std::optional<double> count = Number(text.substr(0, minutes));
    if (!count) return std::nullopt;
    seconds = *count * 60;
    text.remove_prefix(minutes + kMinutes.size());
    if (text.starts_with(u',')) text.remove_prefix(1);
    if (Trim(text).empty()) return seconds;
  }
  const bool small = text.ends_with(kMilliseconds);
  const std::u16string_view unit = small ? kMilliseconds : kSecond;
  if (!text.ends_with(unit)) return std::nullopt;
  const std::optional<double> count = Number(text.substr(0, text.size() - unit.size()));
  if (!count) return std::nullopt;
  return seconds + (small ? *count / 1000 : *count);
}

}  // namespace

LogFigures ReadFigures(std::u16string_view log) {
  LogFigures figures;
  while (!log.empty()) {
    const std::u16string_view line = TakeLine(log);
    if (const auto bytes = Behind(line, kBytes)) figures.Bytes = ReadBytes(*bytes);
    if (const auto seconds = Behind(line, kSeconds)) figures.Seconds = ReadSeconds(*seconds);
  }
  return figures;
}

}  // namespace kavrel
