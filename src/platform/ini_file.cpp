#include "platform/ini_file.h"

#include <algorithm>
#include <chrono>

#include "base/text.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

constexpr std::string_view kBlanks = " \t\r";
constexpr std::size_t kMostBytes = std::size_t{16} << 20;

std::string_view TrimBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// What stands behind "=". Quotation marks keep the blanks at a value's ends.
std::string ValueText(std::u16string_view value) {
  std::string text = ToUtf8(value);
  for (char& c : text) {
    if (c == '\r' || c == '\n') c = ' ';
  }
  const bool plain = TrimBlanks(text) == text && !text.starts_with('"');
  return plain ? text : '"' + text + '"';
}

std::u16string ReadValue(std::string_view text) {
  text = TrimBlanks(text);
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
    text = text.substr(1, text.size() - 2);
  }
  return FromUtf8(text);
}

/// Where a name stands, or would stand, in the file.
struct Place {
  bool Found = false;
  std::size_t Begin = 0, End = 0;  ///< its line without the line end; equal where a new line goes
  std::string_view Value;          ///< as it is written
  bool Section = false;            ///< the file has the section
};

/// The last line with this name decides, as the later of two settings is the one last added by
/// hand. A new line goes behind the last line of the section that says something.
Place FindName(std::string_view bytes, std::u16string_view section, std::u16string_view name) {
  Place place;
  bool inside = false;
  for (std::size_t begin = bytes.starts_with("\xEF\xBB\xBF") ? 3 : 0; begin < bytes.size();) {
    const std::size_t end = std::min(bytes.find('\n', begin), bytes.size());
    const std::string_view line = TrimBlanks(bytes.substr(begin, end - begin));
    const std::size_t next = std::min(end + 1, bytes.size());
    if (line.starts_with('[')) {
      inside = line.ends_with(']') &&
               EqualNoCase(FromUtf8(TrimBlanks(line.substr(1, line.size() - 2))), section);
    }
    const std::size_t sign = line.find('=');
    const bool comment = line.starts_with(';') || line.starts_with('#') || line.starts_with('[');
    if (inside && !comment && sign != line.npos &&
        EqualNoCase(FromUtf8(TrimBlanks(line.substr(0, sign))), name)) {
      const std::size_t length = bytes[end - 1] == '\r' ? end - begin - 1 : end - begin;
      place = {true, begin, begin + length, line.substr(sign + 1), true};
    }
    if (inside && !line.empty() && !place.Found) place = {false, next, next, {}, true};
    begin = next;
  }
  if (!place.Section) place.Begin = place.End = bytes.size();
  return place;
}

bool IsSame(const FileStatus& a, const FileStatus& b) {
  return a.Kind == b.Kind && a.Size == b.Size && a.Written == b.Written && a.Changed == b.Changed &&
         a.Id == b.Id && a.Device == b.Device && a.Mode == b.Mode;
}

/// A link's own status tells nothing of the file that it leads to.
bool CanBeKept(const FileStatus& status, std::int64_t settle) {
  const auto now = std::chrono::duration_cast<std::chrono::seconds>(
      std::chrono::system_clock::now().time_since_epoch());
  const std::int64_t changed = std::max(status.Written.Seconds, status.Changed.Seconds);
  return status.Kind == FileKind::File && now.count() - changed >= settle;
}

}  // namespace

ErrorCode IniFile::CatchUp() {
  const Result<FileStatus> status = files_.Status(path_);
  if (status && kept_ && IsSame(*status, *kept_)) return 0;
  kept_.reset();
  Result<std::string> bytes = files_.ReadWhole(path_, kMostBytes);
  bytes_ = bytes ? std::move(*bytes) : std::string();
  // The status was there before the content: what changed in between shows the next time.
  if (bytes && status && CanBeKept(*status, settle_)) kept_ = *status;
  return bytes.Error;
}

std::optional<std::u16string> IniFile::Get(std::u16string_view section, std::u16string_view name,
                                           ErrorCode& error) {
  error = CatchUp();
  if (IsNotFound(error)) error = 0;
  const Place place = FindName(bytes_, section, name);
  if (!place.Found) return std::nullopt;
  return ReadValue(place.Value);
}

bool IniFile::Set(std::u16string_view section, std::u16string_view name,
                  std::u16string_view value) {
  kept_.reset();
  if (const ErrorCode error = CatchUp()) {
    if (!IsNotFound(error)) return false;
    if (!files_.MakeFolders(path_.substr(0, path_.find_last_of(u"/\\") + 1))) return false;
  }
  kept_.reset();
  const Place place = FindName(bytes_, section, name);
  std::string line = ToUtf8(name) + "=" + ValueText(value);
  if (!place.Found) {
    line += '\n';
    if (!place.Section) {
      line.insert(0, (bytes_.empty() ? "[" : "\n[") + ToUtf8(section) + "]\n");
    }
    if (place.Begin > 0 && bytes_[place.Begin - 1] != '\n') line.insert(0, 1, '\n');
  }
  bytes_.replace(place.Begin, place.End - place.Begin, line);
  return files_.ReplaceWhole(path_, bytes_) == 0;
}

}  // namespace kavrel
