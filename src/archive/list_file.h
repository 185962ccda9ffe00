// The list file that tells the archiver which files are meant: UTF-8, one path a line.
#pragma once

#include <string>
#include <string_view>

#include "platform/files.h"

namespace kavrel {

/// A path as a line of the list, without its end; empty when no line can carry it: line breaks,
/// bytes that are no text, and quotation marks where they would begin or end a quoted name.
std::string ListLine(std::u16string_view path);

/// Which list: of what a command works on, or of what it takes out of an archive first.
enum class ListKind { Entries, Dropped };

/// Writes "~complist.lst" or "~droplist.lst" into the program folder, where no other user can put
/// anything in its place. Its path; empty when it cannot be written.
std::u16string WriteListFile(const FileSystem& files, std::string_view lines,
                             ListKind kind = ListKind::Entries);
void RemoveListFile(const FileSystem& files, ListKind kind = ListKind::Entries);

/// A list for a look into an archive, beside which a run may be at work with its own: under a name
/// by chance, and gone with this.
class LookList {
 public:
  /// `files` outlives this.
  LookList(const FileSystem& files, std::string_view lines);
  ~LookList();
  LookList(const LookList&) = delete;
  LookList& operator=(const LookList&) = delete;

  /// Empty when it could not be written.
  const std::u16string& Path() const { return path_; }

 private:
  const FileSystem& files_;
  std::u16string path_;
};

}  // namespace kavrel
