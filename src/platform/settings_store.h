// The user's settings: named texts, in one INI file or, on Windows, in the registry. The file is
// read once and again only when somebody has changed it; a value is written at once, whole and
// atomically, with whatever else stands there kept.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/result.h"

namespace kavrel {

class FileSystem;
class IniFile;

/// One section of a UTF-8 INI file, or of a key of the registry. Names are compared without regard
/// to letter case. One thread at a time, for all sections of a file together.
class SettingsStore {
 public:
  /// `file_system` must outlive the store; the file need not exist. A path as SettingsFile gives
  /// it.
  SettingsStore(const FileSystem& file_system, std::u16string path,
                std::u16string section = u"Settings");
  /// Another section of the same file, which both read together.
  SettingsStore InSection(std::u16string section) const {
    SettingsStore other = *this;
    other.section_ = std::move(section);
    return other;
  }

  /// Nothing when the file or the value is missing, or the file cannot be read.
  std::optional<std::u16string> Get(std::u16string_view name) const;
  /// Why the last Get could not read the file; 0 when it could, or there is none.
  ErrorCode LastError() const { return error_; }
  /// As given.
  const std::u16string& Path() const { return path_; }
  /// False when the file could not be written; it is then as it was. Line breaks are not allowed
  /// in a value and are written as blanks.
  bool Set(std::u16string_view name, std::u16string_view value);

 private:
  std::u16string path_, section_;
  std::shared_ptr<IniFile> file_;  ///< null where they are in the registry
  mutable ErrorCode error_ = 0;
};

}  // namespace kavrel
