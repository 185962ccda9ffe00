#include "engine/rule_check.h"

#include "files/error_text.h"

namespace kavrel {

ErrorCode ReadRules(const RunContext& context) {
  ExclusionSet& rules = context.Exclusions;
  if (!rules.ExcEnabled || !rules.File().Unreadable()) return 0;
  rules.LoadExclusions();
  return rules.File().Unreadable();
}

bool MakeSureOfRules(RunContext& context) {
  const ErrorCode error = ReadRules(context);
  if (!error) return true;
  const std::u16string path(context.Exclusions.File().Path());
  context.LogTimed(FailText(context.State, error, u": 讀取排除規則 (失敗)", path));
  if (context.Plan) {
    context.Plan->Add(PlanAction::Fail, PlanReason::Unreadable, false, path);
  }
  return false;
}

}  // namespace kavrel
