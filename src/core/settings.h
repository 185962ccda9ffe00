// The stored settings with their defaults. A value that is missing, malformed or out of its range
// reads as its default; a change is written at once.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "platform/settings_store.h"

namespace kavrel {

/// One stored setting: a choice from 0 to Last, or a switch when Last is 0 (Default 1 = on), or the
/// code of a language when it is kLanguageSetting.
struct SettingInfo {
  std::u16string_view Name;
  std::int32_t Last, Default;
};
inline constexpr std::int32_t kLanguageSetting = -1;

/// All of them.
std::span<const SettingInfo> AllSettings();
/// The one of that name, without regard to letter case; null when there is none.
const SettingInfo* FindSetting(std::u16string_view name);

class Settings {
 public:
  explicit Settings(SettingsStore store) : store_(std::move(store)) {}

  std::int32_t ProcessPriority() const;  ///< 0-5, default 3
  std::int32_t LogRestrictions() const;  ///< 0-4, default 3
  std::int32_t ProtIcon() const;         ///< 0-3, default 3
  bool PlaySound() const;
  bool ExcEnabled() const;
  /// Why the setting that was asked for last could not be read, so that its default came; 0 when it
  /// could.
  ErrorCode LastError() const { return store_.LastError(); }
  const std::u16string& Path() const { return store_.Path(); }
  const SettingsStore& Store() const { return store_; }
  bool ProtGlidLine() const;
  bool OutWidth(int column) const;  ///< column switch 0-11; only the last is on by default
  bool StartMin() const;
  bool Autostart() const;  ///< stored under the name "Morlund"
  /// The code of a language of the program; empty for the one of the system.
  std::string_view Language() const;

  /// Each returns false when the settings file could not be written.
  bool SetProcessPriority(std::int32_t index);
  bool SetLogRestrictions(std::int32_t index);
  bool SetProtIcon(std::int32_t index);
  bool SetPlaySound(bool on);
  bool SetExcEnabled(bool on);  ///< stored as "-1" or "0", every other switch as "True" or "False"
  bool SetProtGlidLine(bool on);
  bool SetOutWidth(int column, bool on);
  bool SetStartMin(bool on);
  bool SetAutostart(bool on);
  bool SetLanguage(std::string_view code);

  /// Any setting as text: a number, "True" or "False", a language's code.
  std::u16string TextOf(const SettingInfo& setting) const;
  /// Sets it from such text. False when the text is out of range, or could not be written.
  bool SetText(const SettingInfo& setting, std::u16string_view text);

 private:
  std::int32_t ReadIndex(std::u16string_view name) const;
  bool ReadSwitch(std::u16string_view name) const;
  SettingsStore store_;
};

}  // namespace kavrel
