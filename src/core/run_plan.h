// What a run would do, written down instead of done.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kavrel {

enum class PlanAction : std::uint8_t {
  Copy,
  Replace,
  Recycle,
  Delete,
  Pack,
  Update,
  LeaveOut,
  Fail
};
inline constexpr std::size_t kPlanActions = 8;
enum class PlanReason : std::uint8_t {
  New,          ///< the destination does not have it
  Always,       ///< the job copies every file each time
  Size,         ///< the sizes differ
  Time,         ///< the times of writing differ
  Kind,         ///< a file on one side, a link on the other
  LinkTarget,   ///< the links point to different places
  NotInSource,  ///< the source does not have it any more
  Outdated,     ///< an older backup than the job keeps
  Rule,         ///< an exclusion rule names it
  Special,      ///< a socket, pipe or device
  TooLarge,     ///< above the job's size limit
  Unreadable,   ///< the source cannot be read, or a name cannot be packed
  Blocked,      ///< something is in the way that the run does not remove
  Attributes,   ///< permissions, owner or extended attributes differ, the content does not
  OwnerMark,    ///< tells whose backup the source is
  OwnPlace,     ///< the source is the destination or lies in it
  Linked,       ///< one more name of another file
  OwnCopy,      ///< its copy has other names, for which it must not change
  Outside,      ///< a link that would lead out of the folder that it is restored to
  Thinned,      ///< an older backup that the job's plan does not keep
  NotWritable,  ///< the folder takes no change from this user, or its disk from nobody
  NoFiles,      ///< the source has no file for an archive
};
inline constexpr std::size_t kPlanReasons = 22;

/// In words, where a log tells them as well.
inline constexpr std::u16string_view kBlockedText = u"目標被其他項目佔用",
                                     kOutsideText = u"連結指向目標之外",
                                     kNothingToPack = u"沒有可壓縮的檔案";

struct PlanStep {
  PlanAction Action;
  PlanReason Reason;
  bool IsFolder;
  std::u16string Path;  ///< below the run's source or destination
  std::uint64_t Size;   ///< bytes; 0 for folders
};

/// Whoever wants to be told what a run decides, entry by entry. This one does not: a run that is
/// done tells its log.
class RunNotes {
 public:
  virtual ~RunNotes() = default;
  /// `path`: below the run's source or destination.
  virtual void Add(PlanAction, PlanReason, bool /*is_folder*/, std::u16string_view /*path*/,
                   std::uint64_t /*size*/ = 0) {}
  /// What lets the run do nothing at all, in words.
  virtual void Obstacle(std::u16string_view) {}
};

struct RunPlan final : RunNotes {
  enum class Level {
    Counts,  ///< nothing beyond the run's counters
    Sizes,   ///< NetBytes and PeakBytes
    Steps,   ///< and every step
  };
  Level Depth = Level::Steps;
  std::uint64_t Enough = 0;  ///< files after which nobody wants to know more; 0: all
  bool OfRestore = false;    ///< what is the source to the steps is the backup
  std::vector<PlanStep> Steps;
  /// Why the run would stop and ask, or could not write, in words.
  std::vector<std::u16string> Warnings;
  /// How much more the destination would hold afterwards; what goes to the recycle bin stays on the
  /// disk. Holes count for nothing.
  std::int64_t NetBytes = 0;
  /// The most that it would hold more on the way: each copy lies beside what it replaces.
  std::int64_t PeakBytes = 0;

  bool Wants(Level level) const { return Depth >= level; }
  void Add(PlanAction action, PlanReason reason, bool is_folder, std::u16string_view path,
           std::uint64_t size = 0) override {
    if (!Wants(Level::Steps)) return;
    Steps.push_back({action, reason, is_folder, std::u16string(path), size});
  }
  void Obstacle(std::u16string_view why) override { Warnings.emplace_back(why); }
};

}  // namespace kavrel
