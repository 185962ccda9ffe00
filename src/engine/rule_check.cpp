#include "engine/rule_check.h"

#include "files/error_text.h"

namespace kavrel {

void TakeSwitch(ExclusionSet& rules, const Settings& settings) {
  rules.ExcEnabled = settings.ExcEnabled();
  rules.SwitchUnknown = settings.LastError();
}

void FollowSwitch(ExclusionSet& rules, const Settings& settings) {
  const bool on = settings.ExcEnabled();
  if (!settings.LastError()) rules.ExcEnabled = on;
}

ErrorCode ReadRules(const RunContext& context) {
  ExclusionSet& rules = context.Exclusions;
  if (rules.SwitchUnknown) TakeSwitch(rules, context.Preferences);
  if (rules.SwitchUnknown) return rules.SwitchUnknown;
  if (!rules.ExcEnabled || !rules.File().Unreadable()) return 0;
  rules.LoadExclusions();
  return rules.File().Unreadable();
}

bool MakeSureOfRules(RunContext& context) {
  const ErrorCode error = ReadRules(context);
  if (!error) return true;
  const bool of_switch = context.Exclusions.SwitchUnknown != 0;
  const std::u16string path(of_switch ? context.Preferences.Path()
                                      : context.Exclusions.File().Path());
  const std::u16string_view text =
      of_switch ? u": 讀取排除規則的設定 (失敗)" : u": 讀取排除規則 (失敗)";
  context.LogTimed(FailText(context.State, error, text, path));
  context.Report.Failures.Note(text, path, ApiErrorText(error));
  context.Notes.Add(PlanAction::Fail, PlanReason::Unreadable, false, path);
  return false;
}

}  // namespace kavrel
