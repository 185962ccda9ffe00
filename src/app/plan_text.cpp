#include "app/plan_text.h"

#include "base/number.h"
#include "base/translation.h"
#include "files/size_text.h"

namespace kavrel {

std::u16string_view ActionText(PlanAction action, bool restore) {
  if (restore && action == PlanAction::Copy) return u"還原";
  if (restore && action == PlanAction::LeaveOut) return u"不還原";
  constexpr std::array<std::u16string_view, kPlanActions> kTexts = {
      u"複製", u"取代", u"移到回收筒", u"刪除", u"壓縮", u"更新屬性", u"不備份", u"失敗"};
  return kTexts[static_cast<std::size_t>(action)];
}

std::u16string_view ReasonText(PlanReason reason, bool restore) {
  if (restore && reason == PlanReason::Always) return u"一律還原";
  if (restore && reason == PlanReason::NotInSource) return u"備份中沒有";
  constexpr std::array<std::u16string_view, kPlanReasons> kTexts = {
      u"目標沒有",         u"每次都備份",   u"大小不同",       u"修改時間不同",   u"檔案類型不同",
      u"連結的目標不同",   u"來源已不存在", u"超過保留份數",   u"排除規則",       u"特殊檔案",
      u"超過檔案大小限制", u"無法讀取",     kBlockedText,      u"權限或屬性不同", u"備份標記",
      u"來源位於目標之內", u"硬連結",       u"副本另有硬連結", kOutsideText,      u"保留計畫不保留",
      u"無法寫入",         kNothingToPack};
  return kTexts[static_cast<std::size_t>(reason)];
}

PlanSums SumUp(const RunPlan& plan) {
  PlanSums sums{};
  for (const PlanStep& step : plan.Steps) {
    PlanSum& sum = sums[static_cast<std::size_t>(step.Action)];
    ++(step.IsFolder ? sum.Folders : sum.Files);
    sum.Bytes += step.Size;
  }
  return sums;
}

std::u16string SumText(const PlanSum& sum) {
  std::u16string text = Fill(TrCountLater(u"%1 個檔案"), {Grouped(sum.Files)});
  if (sum.Folders > 0) text += u"，" + Fill(TrCountLater(u"%1 個資料夾"), {Grouped(sum.Folders)});
  if (sum.Bytes > 0) text += u"，" + FormatSize(sum.Bytes, SizeMode::Scaled);
  return text;
}

}  // namespace kavrel
