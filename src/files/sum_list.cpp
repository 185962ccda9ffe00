#include "files/sum_list.h"

#include "base/text.h"
#include "files/hidden_file.h"
#include "files/path.h"

namespace kavrel {

namespace {

constexpr std::size_t kPiece = std::size_t{64} << 10;
/// No path that a system gives is longer.
constexpr std::size_t kLongestLine = std::size_t{1} << 20;
constexpr std::size_t kDigits = 2 * sizeof(ContentSum);

int ValueOf(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return -1;
}

std::string Escaped(std::string_view path) {
  std::string text;
  for (const char c : path) {
    if (c == '\\') {
      text += "\\\\";
    } else if (c == '\n') {
      text += "\\n";
    } else if (c == '\r') {
      text += "\\r";
    } else {
      text += c;
    }
  }
  return text;
}

/// Empty for what nobody has written so.
std::string Unescaped(std::string_view text) {
  std::string path;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      path += text[i];
      continue;
    }
    const char c = ++i < text.size() ? text[i] : '\0';
    if (c != '\\' && c != 'n' && c != 'r') return {};
    path += c == 'n' ? '\n' : c == 'r' ? '\r' : c;
  }
  return path;
}

std::uint64_t Folded(const ContentSum& sum) {
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < sizeof number; ++i) number = number << 8 | sum[i];
  return number;
}

}  // namespace

std::u16string ListedPath(std::u16string_view root, std::u16string_view below) {
  return PathSeparator(root) == u'\\' ? ReplaceAll(below, u"\\", u"/") : std::u16string(below);
}

bool IsSumList(std::u16string_view name) {
  return EqualNoCase(name, kSumList) || EqualNoCase(name, kSumJournal) ||
         EqualNoCase(name, kSumHalf);
}

std::string FormatSumLine(const SumLine& line) {
  constexpr std::string_view kHex = "0123456789abcdef";
  const bool escapes = line.Path.find_first_of("\n\r") != std::string::npos;
  std::string text;
  text.reserve(kDigits + 4 + line.Path.size());
  if (escapes) text += '\\';
  for (const unsigned char byte : line.Sum) {
    text += kHex[byte >> 4];
    text += kHex[byte & 15];
  }
  text += "  ";
  text += escapes ? Escaped(line.Path) : line.Path;
  text += '\n';
  return text;
}

std::optional<SumLine> ParseSumLine(std::string_view text) {
  const bool escaped = text.starts_with('\\');
  if (escaped) text.remove_prefix(1);
  if (text.size() <= kDigits + 2 || text.substr(kDigits, 2) != "  ") return std::nullopt;
  SumLine line;
  for (std::size_t i = 0; i < line.Sum.size(); ++i) {
    const int high = ValueOf(text[2 * i]), low = ValueOf(text[2 * i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    line.Sum[i] = static_cast<unsigned char>(high << 4 | low);
  }
  text.remove_prefix(kDigits + 2);
  line.Path = escaped ? Unescaped(text) : std::string(text);
  if (line.Path.empty()) return std::nullopt;
  return line;
}

std::uint64_t HashOf(std::string_view path) {
  return Folded(SumOf(path));
}

std::uint64_t HashOf(const SumLine& line) {
  return HashOf(line.Path) ^ Folded(line.Sum);
}

SumListReader::SumListReader(const Folder& folder, std::u16string_view name) {
  Result<File> file = folder.OpenFile(name);
  const Result<FileStatus> status = file ? file->Status() : Result<FileStatus>::Fail(file.Error);
  if (status && status->Kind == FileKind::File) file_ = std::move(*file);
}

bool SumListReader::NextText(std::string_view& text) {
  for (;;) {
    const std::size_t end = buffer_.find('\n', at_);
    if (end != buffer_.npos) {
      text = std::string_view(buffer_).substr(at_, end - at_);
      at_ = end + 1;
      return true;
    }
    buffer_.erase(0, at_);
    at_ = 0;
    // What a cut has left of a line is none.
    if (!file_ || buffer_.size() > kLongestLine) return false;
    const std::size_t kept = buffer_.size();
    buffer_.resize(kept + kPiece);
    const Result<std::size_t> got = file_.Read({buffer_.data() + kept, kPiece});
    buffer_.resize(kept + *got);
    if (!got || *got == 0) file_.Close();
  }
}

const SumLine* SumListReader::Next() {
  for (std::string_view text; NextText(text);) {
    if (std::optional<SumLine> line = ParseSumLine(text)) {
      line_ = std::move(*line);
      return &line_;
    }
  }
  return nullptr;
}

SumListWriter::SumListWriter(const Folder& folder, std::u16string_view name) {
  // It names what lies in folders that others may not look into.
  Result<File> file = MakeHiddenFile(folder, name, 0600);
  error_ = file.Error;
  if (file) file_ = std::move(*file);
}

void SumListWriter::Add(const SumLine& line) {
  buffer_ += FormatSumLine(line);
  if (buffer_.size() >= kPiece) Flush();
}

void SumListWriter::Flush() {
  if (!error_ && !buffer_.empty()) error_ = file_.Write(buffer_);
  buffer_.clear();
}

ErrorCode SumListWriter::Sync() {
  Flush();
  if (!error_) error_ = file_.Sync();
  return error_;
}

ErrorCode SumListWriter::Close() {
  Flush();
  const ErrorCode closing = file_ ? file_.Close() : 0;
  if (!error_) error_ = closing;
  return error_;
}

}  // namespace kavrel
