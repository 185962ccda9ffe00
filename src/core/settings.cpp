#include "core/settings.h"

#include "base/number.h"
#include "base/text.h"
#include "base/translation.h"
#include "core/setting_value.h"

namespace kavrel {

namespace {

constexpr SettingInfo kSettings[] = {
    {u"ProcessPriority", 5, 3}, {u"LogRestrictions", 4, 3}, {u"PlaySound", 0, 0},
    {u"ExcEnabled", 0, 0},      {u"ProtIcon", 3, 3},        {u"ProtGlidLine", 0, 0},
    {u"OutWidth0", 0, 0},       {u"OutWidth1", 0, 0},       {u"OutWidth2", 0, 0},
    {u"OutWidth3", 0, 0},       {u"OutWidth4", 0, 0},       {u"OutWidth5", 0, 0},
    {u"OutWidth6", 0, 0},       {u"OutWidth7", 0, 0},       {u"OutWidth8", 0, 0},
    {u"OutWidth9", 0, 0},       {u"OutWidth10", 0, 0},      {u"OutWidth11", 0, 1},
    {u"StartMin", 0, 0},        {u"Morlund", 0, 0},         {u"Language", kLanguageSetting, 0},
};

std::u16string OutWidthName(int column) {
  return u"OutWidth" + Decimal(column);
}

bool IsLanguage(std::string_view code) {
  const kavrel::Language* language = FindLanguage(code);
  return language && language->Code == code;
}

std::u16string_view SwitchText(bool on) {
  return on ? u"True" : u"False";
}

}  // namespace

std::span<const SettingInfo> AllSettings() {
  return kSettings;
}

const SettingInfo* FindSetting(std::u16string_view name) {
  for (const SettingInfo& setting : kSettings) {
    if (EqualNoCase(setting.Name, name)) return &setting;
  }
  return nullptr;
}

std::u16string Settings::TextOf(const SettingInfo& setting) const {
  if (setting.Last == kLanguageSetting) return FromUtf8(Language());
  if (setting.Last > 0) return Decimal(ReadIndex(setting.Name));
  return std::u16string(SwitchText(ReadSwitch(setting.Name)));
}

bool TakesValue(const SettingInfo& setting, std::u16string_view text) {
  if (setting.Last == kLanguageSetting) return text.empty() || IsLanguage(ToUtf8(text));
  if (setting.Last == 0) return ParseBool(text).has_value();
  const std::optional<std::int32_t> index = ParseInt(text);
  return index && *index >= 0 && *index <= setting.Last;
}

bool Settings::SetText(const SettingInfo& setting, std::u16string_view text) {
  if (!TakesValue(setting, text)) return false;
  if (setting.Last == kLanguageSetting) return SetLanguage(ToUtf8(text));
  if (setting.Last > 0) return store_.Set(setting.Name, Decimal(*ParseInt(text)));
  const bool on = *ParseBool(text);
  return setting.Name == u"ExcEnabled" ? SetExcEnabled(on)
                                       : store_.Set(setting.Name, SwitchText(on));
}

std::int32_t Settings::ReadIndex(std::u16string_view name) const {
  const SettingInfo& setting = *FindSetting(name);
  const std::optional<std::u16string> text = store_.Get(name);
  const std::optional<std::int32_t> value = text ? ParseInt(*text) : std::nullopt;
  return value && *value >= 0 && *value <= setting.Last ? *value : setting.Default;
}

bool Settings::ReadSwitch(std::u16string_view name) const {
  const std::optional<std::u16string> text = store_.Get(name);
  const std::optional<bool> on = text ? ParseBool(*text) : std::nullopt;
  return on.value_or(FindSetting(name)->Default != 0);
}

std::int32_t Settings::ProcessPriority() const {
  return ReadIndex(u"ProcessPriority");
}
std::int32_t Settings::LogRestrictions() const {
  return ReadIndex(u"LogRestrictions");
}
std::int32_t Settings::ProtIcon() const {
  return ReadIndex(u"ProtIcon");
}
bool Settings::PlaySound() const {
  return ReadSwitch(u"PlaySound");
}
bool Settings::ExcEnabled() const {
  return ReadSwitch(u"ExcEnabled");
}
bool Settings::ProtGlidLine() const {
  return ReadSwitch(u"ProtGlidLine");
}
bool Settings::OutWidth(int column) const {
  return ReadSwitch(OutWidthName(column));
}
bool Settings::StartMin() const {
  return ReadSwitch(u"StartMin");
}
bool Settings::Autostart() const {
  return ReadSwitch(u"Morlund");
}

std::string_view Settings::Language() const {
  const std::string code = ToUtf8(store_.Get(u"Language").value_or(std::u16string()));
  return IsLanguage(code) ? FindLanguage(code)->Code : std::string_view();
}

bool Settings::SetProcessPriority(std::int32_t index) {
  return store_.Set(u"ProcessPriority", Decimal(index));
}
bool Settings::SetLogRestrictions(std::int32_t index) {
  return store_.Set(u"LogRestrictions", Decimal(index));
}
bool Settings::SetProtIcon(std::int32_t index) {
  return store_.Set(u"ProtIcon", Decimal(index));
}
bool Settings::SetPlaySound(bool on) {
  return store_.Set(u"PlaySound", SwitchText(on));
}
bool Settings::SetExcEnabled(bool on) {
  return store_.Set(u"ExcEnabled", on ? u"-1" : u"0");
}
bool Settings::SetProtGlidLine(bool on) {
  return store_.Set(u"ProtGlidLine", SwitchText(on));
}
bool Settings::SetOutWidth(int column, bool on) {
  return store_.Set(OutWidthName(column), SwitchText(on));
}
bool Settings::SetStartMin(bool on) {
  return store_.Set(u"StartMin", SwitchText(on));
}
bool Settings::SetAutostart(bool on) {
  return store_.Set(u"Morlund", SwitchText(on));
}
bool Settings::SetLanguage(std::string_view code) {
  return store_.Set(u"Language", FromUtf8(code));
}

}  // namespace kavrel
