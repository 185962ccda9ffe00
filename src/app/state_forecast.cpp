#include "app/state_forecast.h"

#include <algorithm>
#include <vector>

#include "app/program.h"
#include "base/translation.h"
#include "engine/run_driver.h"
#include "engine/states.h"
#include "files/place.h"
#include "files/size_text.h"
#include "rules/date_tokens.h"

namespace kavrel {

namespace {

/// So many of the newest states tell what one adds.
constexpr std::size_t kTelling = 10;

std::u16string SizeText(std::uint64_t bytes) {
  return FormatSize(bytes, SizeMode::Scaled);
}

}  // namespace

std::u16string_view LinkStatesText(LinkStates how) {
  constexpr std::u16string_view kTexts[kLinkStatesChoices] = {u"自動", u"不共用", u"硬連結",
                                                              u"共用區塊"};
  return kTexts[static_cast<std::size_t>(how)];
}

std::u16string StateForecast(const Program& program, const BackupJob& job) {
  if (job.Compressed || !HasDateTags(job.Destination.Path)) return {};
  const Place place = FindPlace(program.Files, ExpandedDestination(job, program.Context.Time));
  if (!place.Nearest) return {};
  if (!place.Nearest.Manners().LinksFiles) return u"這個磁碟無法共用檔案，每個備份都是完整的複製。";
  std::vector<std::uint64_t> added;
  std::uint64_t whole = 0;
  for (const JobState& state : ListStates(program.Context, job)) {
    if (state.IsArchive || !state.Figures) continue;
    if (whole == 0) whole = state.Figures->Bytes;
    // One that shared nothing does not tell what sharing would cost.
    if (state.Figures->AddedFiles < state.Figures->Files && added.size() < kTelling) {
      added.push_back(state.Figures->AddedBytes);
    }
  }
  if (whole == 0) return u"有了第一個備份之後，這裡會估計每個備份的大小。";
  if (added.empty()) return Fill(u"不共用檔案時，每個備份約 %1。", {SizeText(whole)});
  std::sort(added.begin(), added.end());
  return Fill(u"每個備份約 %1；不共用檔案時約 %2。",
              {SizeText(added[added.size() / 2]), SizeText(whole)});
}

}  // namespace kavrel
