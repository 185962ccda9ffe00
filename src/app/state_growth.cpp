#include "app/state_growth.h"

#include <algorithm>

#include "base/number.h"
#include "base/translation.h"
#include "files/path.h"
#include "files/size_text.h"

namespace kavrel {

namespace {

/// So many of the newest states tell what the next ones will add.
constexpr std::size_t kTelling = 10;

std::uint64_t AddedBy(const JobState& state) {
  if (state.IsArchive) return state.ArchiveSize + state.RecoverySize;
  return state.Figures ? state.Figures->AddedBytes : 0;
}

}  // namespace

StateGrowth GrowthOf(const FileSystem& files, const std::vector<JobState>& states) {
  StateGrowth growth;
  growth.Taken.resize(states.size());
  std::uint64_t taken = 0;
  if (states.empty()) return growth;
  // What the oldest one shares nothing older holds any more.
  const JobState& oldest = states.back();
  if (!oldest.IsArchive && oldest.Figures) {
    taken = oldest.Figures->Bytes - std::min(oldest.Figures->AddedBytes, oldest.Figures->Bytes);
  }
  for (std::size_t i = states.size(); i-- > 0;) growth.Taken[i] = taken += AddedBy(states[i]);
  const Result<Folder> folder = files.OpenFolder(UnitFolder(states.front().Unit));
  const Result<DiskSpace> space = folder ? folder->Space() : Result<DiskSpace>::Fail(folder.Error);
  if (space) growth.Free = space->Free;
  // The first one had everything to add.
  const std::size_t telling = std::min(states.size() - 1, kTelling);
  std::uint64_t added = 0;
  for (std::size_t i = 0; i < telling; ++i) added += AddedBy(states[i]);
  if (space && added > 0) {
    growth.RunsLeft =
        static_cast<std::uint64_t>(static_cast<double>(growth.Free) * static_cast<double>(telling) /
                                   static_cast<double>(added));
  }
  return growth;
}

std::u16string GrowthText(const StateGrowth& growth) {
  if (growth.Total() == 0) return {};
  const std::u16string total = FormatSize(growth.Total(), SizeMode::Scaled);
  if (!growth.RunsLeft) return Fill(u"全部備份約 %1。", {total});
  // Beyond that nobody counts.
  constexpr std::uint64_t kMost = 9999;
  const std::u16string runs = Grouped(std::min(*growth.RunsLeft, kMost));
  return Fill(*growth.RunsLeft > kMost
                  ? std::u16string_view(u"全部備份約 %1，照最近的增加速度還可以再存 %2 次以上。")
                  : std::u16string_view(u"全部備份約 %1，照最近的增加速度還可以再存約 %2 次。"),
              {total, runs});
}

}  // namespace kavrel
