// Exclusion rules: drives, folders and files that no job ever copies. One set serves all jobs; it
// lives in Exc.txt in the program folder.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "files/shared_file.h"

namespace kavrel {

/// One rule; the match forms are what the tests compare.
struct ExclusionRule {
  bool Enabled = false;
  std::u16string Desc, Drive, Folder, File;
  std::u16string DriveMatch, FolderMatch, FileMatch;
};

/// How an editor shows the pattern "*".
inline constexpr std::u16string_view kEverythingShown = u"* ( 全部 )";

/// A folder pattern in match form: lower case, trimmed, "*\" in front unless it begins with "\" or
/// "*", "\*" behind unless it ends with one of them; "\" and "*" stay.
std::u16string NormalizeFolderPattern(std::u16string_view pattern);

/// Gives the mount point that holds a POSIX path when that is not the root file system, without a
/// trailing separator ("/media/usb"); else empty.
using MountPointOf = std::function<std::u16string(std::u16string_view path)>;

/// A path in a rule's parts: drive ("c:", "\\server", a mount point or empty), folder, file.
ExclusionRule SplitRulePath(std::u16string_view path, const MountPointOf& mount_point = {});

/// The rules, as they were when a set gave them, as far as they reach the files of one folder. One
/// that no set gave leaves nothing out.
class FolderExclusions {
 public:
  bool IsFileExcluded(std::u16string_view name) const;
  /// Whether no rule reaches a file of this folder.
  bool Empty() const { return rules_.empty(); }

 private:
  friend class ExclusionSet;
  std::shared_ptr<const std::vector<ExclusionRule>> all_;
  std::vector<const ExclusionRule*> rules_;
  bool posix_ = false;
};

/// Changed by the run's own thread alone, while no other reads; the const functions may be called
/// by several.
class ExclusionSet {
 public:
  /// `file_system` must outlive the set. The tests ask `mount_point` for POSIX paths.
  explicit ExclusionSet(const FileSystem& file_system, MountPointOf mount_point = {});

  /// While it is off nothing is excluded. Taken from the settings, where the switch is at home,
  /// before every run.
  bool ExcEnabled = false;
  /// Why nobody knows whether it is on; 0 when that is known.
  ErrorCode SwitchUnknown = 0;

  /// Reads Exc.txt anew. A file that is missing or shorter than 10 bytes is made from the default.
  void LoadExclusions();
  /// Writes the header lines and these rules, then reads the file back. A pattern that is empty or
  /// kEverythingShown is written as "*". False when the file could not be written, or is there but
  /// could not be read; the set and the file are then as they were. What somebody else has written
  /// to the file since it was read is kept as a copy.
  bool SaveExclusions(const std::vector<ExclusionRule>& rules);
  /// Puts the built-in default in the file's place and reads it.
  bool RestoreDefaults();

  bool IsFileExcluded(std::u16string_view path) const;
  /// The same for many files of a folder, which is given with its trailing separator.
  FolderExclusions In(std::u16string_view folder) const;
  /// A folder with or without its trailing separator; its whole subtree is excluded with it.
  bool IsFolderExcluded(std::u16string_view folder) const;

  const std::vector<ExclusionRule>& Rules() const { return *rules_; }
  SharedFile& File() { return file_; }

 private:
  bool OpenExclusionFile(std::u16string& text);
  const FileSystem& file_system_;
  SharedFile file_;
  MountPointOf mount_point_;
  std::vector<std::u16string> header_lines_;
  /// Replaced as a whole, for a run may still go by the former ones.
  std::shared_ptr<const std::vector<ExclusionRule>> rules_;
  std::vector<std::size_t> folder_rules_;  ///< positions in rules_ of those whose File is "*"
};

/// The field check of the rule editors: empty when `value` is acceptable, else the message.
std::u16string CheckInvalidChars(std::u16string_view value, std::u16string_view forbidden);

/// Forbidden characters, in the order they are tested.
inline constexpr std::u16string_view kForbiddenInFolderName = u"|\"<>/?*";
inline constexpr std::u16string_view kForbiddenInFolderPath = u"|\"<>/:";
inline constexpr std::u16string_view kForbiddenInFileName = u"|\"<>/?*\\:";
inline constexpr std::u16string_view kForbiddenInFilePattern = u"|\"<>/\\:";

}  // namespace kavrel
