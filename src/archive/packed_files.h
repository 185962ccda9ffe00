// What is to be packed, looked at once more afterwards: the archiver goes by names, and tells
// nothing of a file that changes while it reads it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/files.h"

namespace kavrel {

class PackedFiles {
 public:
  /// Notes a file or link, of a path relative to the source, as it is before the archiver reads it.
  void Note(std::u16string_view path, const FileStatus& status);

  struct Doubts {
    std::vector<std::u16string> Changed;  ///< of their kind still; may be packed half old, half new
    std::vector<std::u16string> Replaced;  ///< of another kind now, or a folder that held some
    std::vector<std::pair<std::u16string, ErrorCode>> Unread;  ///< cannot be opened, and why
  };
  /// What is another one than it was when it was noted. What is gone is not among it: it was packed
  /// whole, or the archiver has told. With `opens`, each file is opened as well. Ends early when
  /// `go_on`, asked for each entry, says no.
  Doubts LookAgain(const FileSystem& files, std::u16string_view source, bool opens,
                   const std::function<bool()>& go_on) const;

 private:
  /// A sum of what is noted of an entry: at many files, more than that would be much.
  using State = std::uint64_t;

  class SecondLook;

  std::unordered_map<std::size_t, State> states_;  ///< by the sum of the path
};

}  // namespace kavrel
