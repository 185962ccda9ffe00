// What a run would do, in words and sums.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "core/run_plan.h"

namespace kavrel {

/// `restore`: in the words of a restore.
std::u16string_view ActionText(PlanAction action, bool restore = false);
std::u16string_view ReasonText(PlanReason reason, bool restore = false);

struct PlanSum {
  std::uint64_t Files = 0, Folders = 0, Bytes = 0;
};
/// By action.
using PlanSums = std::array<PlanSum, kPlanActions>;
PlanSums SumUp(const RunPlan& plan);
/// "12 個檔案，3 個資料夾，1.50 MB"
std::u16string SumText(const PlanSum& sum);

}  // namespace kavrel
