#include "core/settings.h"

#include "base/number.h"

namespace kavrel {

namespace {

constexpr std::int32_t kNormalPriority = 3, kFourHundredLogs = 3, kDetailsView = 3;

std::u16string OutWidthName(int column) {
  return u"OutWidth" + Decimal(column);
}

std::u16string_view SwitchText(bool on) {
  return on ? u"True" : u"False";
}

}  // namespace

std::int32_t Settings::ReadIndex(std::u16string_view name, std::int32_t last,
                                 std::int32_t fallback) const {
  const std::optional<std::u16string> text = store_.Get(name);
  const std::optional<std::int32_t> value = text ? ParseInt(*text) : std::nullopt;
  return value && *value >= 0 && *value <= last ? *value : fallback;
}

bool Settings::ReadSwitch(std::u16string_view name) const {
  const std::optional<std::u16string> text = store_.Get(name);
  return text && ParseBool(*text).value_or(false);
}

std::int32_t Settings::ProcessPriority() const {
  return ReadIndex(u"ProcessPriority", 5, kNormalPriority);
}
std::int32_t Settings::LogRestrictions() const {
  return ReadIndex(u"LogRestrictions", 4, kFourHundredLogs);
}
std::int32_t Settings::ProtIcon() const {
  return ReadIndex(u"ProtIcon", 3, kDetailsView);
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

}  // namespace kavrel
