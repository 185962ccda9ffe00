// A file of the program folder that is read whole, changed in memory and written back whole, while
// somebody else (another machine, an editor, a program that syncs folders) may change it, too.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/result.h"

namespace kavrel {

class FileSystem;

class SharedFile {
 public:
  /// `files` must outlive this; `name` is a name in the program folder.
  SharedFile(const FileSystem& files, std::u16string_view name);

  const std::u16string& Path() const { return path_; }

  Result<std::string> Read();
  /// Why the last Read found the file but could not read it; 0 when it did or found none.
  ErrorCode Unreadable() const { return unreadable_; }
  /// Replaces the content at once or not at all; gives the error code. A file that no longer holds
  /// what was last read or written here is kept first. One that the last Read found but could not
  /// read, or that cannot be read now, is never written over.
  ErrorCode Write(std::string_view bytes);
  /// Copies what the file holds now, if it is there, to the first free name of "other_NAME",
  /// "other_NAME_2" and so on, unless one of these holds the same; then tells Kept.
  ErrorCode KeepOther() const;

  /// Told of this file and of the copy that keeps what somebody else had written.
  std::function<void(std::u16string_view path, std::u16string_view copy)> Kept;

 private:
  ErrorCode Keep(std::string_view bytes) const;

  const FileSystem& files_;
  const std::u16string name_, path_;
  ErrorCode unreadable_ = 0;
  std::optional<std::size_t> seen_;  ///< a sum of what the file held
};

}  // namespace kavrel
