// The list of sums that lies in a backup: a text that `xxh128sum -c` reads, one line a file, the
// sum, two blanks and the path below the list's folder with '/' between names. A name that holds a
// line's end makes a line that begins with '\', in which '\\', '\n' and '\r' stand for what they
// mean, as all check commands write it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "files/content_sum.h"
#include "platform/files.h"

namespace kavrel {

/// The list, what a run that is at work has added so far, and half of a new one.
inline constexpr std::u16string_view kSumList = u".kavrel-sums", kSumJournal = u".kavrel-sums.new",
                                     kSumHalf = u".kavrel-sums.tmp";
/// A path below the list's folder as the list has it, with '/' between names; `root` tells what is
/// between them here. What looks like a separator in a name stays.
std::u16string ListedPath(std::u16string_view root, std::u16string_view below);

bool IsSumList(std::u16string_view name);

struct SumLine {
  ContentSum Sum{};
  std::string Path;  ///< as its bytes

  bool operator==(const SumLine&) const = default;
};

/// With its LF.
std::string FormatSumLine(const SumLine& line);
/// Without its LF; nothing for what is no such line.
std::optional<SumLine> ParseSumLine(std::string_view text);

/// 64 bits that tell a path, and a path with its sum, from all others but for bad luck, in which a
/// sum is lost and made anew by the next verification.
std::uint64_t HashOf(std::string_view path);
std::uint64_t HashOf(const SumLine& line);

/// Reads a list line by line; what is no line of one is passed over.
class SumListReader {
 public:
  /// One that is not there has no lines.
  SumListReader(const Folder& folder, std::u16string_view name);

  /// Valid until the next call; null at the end.
  const SumLine* Next();

 private:
  bool NextText(std::string_view& text);

  File file_;
  std::string buffer_;
  std::size_t at_ = 0;
  SumLine line_;
};

/// Writes one in large pieces.
class SumListWriter {
 public:
  /// Makes the file. Not Good where that cannot be.
  SumListWriter(const Folder& folder, std::u16string_view name);

  bool Good() const { return !error_; }
  void Add(const SumLine& line);
  /// Hands to the system what was added so far.
  void Flush();
  ErrorCode Sync();
  /// 0 when all of it has been taken.
  ErrorCode Close();

 private:
  File file_;
  std::string buffer_;
  ErrorCode error_ = 0;
};

}  // namespace kavrel
