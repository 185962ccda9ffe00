#include "engine/space_check.h"

#include <algorithm>
#include <bit>

#include "base/translation.h"
#include "engine/refusal.h"
#include "engine/run_planner.h"
#include "files/place.h"
#include "files/size_text.h"
#include "log/log_end.h"

namespace kavrel {

namespace {

struct Room {
  bool Known = false;
  bool DestExists = false;
  std::uint64_t Free = 0;
  std::uint64_t SourceDisks = 0;  ///< bytes in use on all disks that the source lies on
};

/// What is in use on the source's own disk and on all that are mounted inside the source.
std::uint64_t BytesOnSourceDisks(const RunContext& context, const BackupJob& job,
                                 std::uint64_t own) {
  const std::u16string root = context.Files.RealPath(job.Source.WorkPath);
  for (const std::u16string& point : context.Mounts.Points()) {
    if (!IsAtOrBelow(point, root) || point.size() <= root.size()) continue;
    const Result<Folder> inner = context.Files.OpenFolder(point);
    const Result<DiskSpace> disk = inner ? inner->Space() : Result<DiskSpace>::Fail(inner.Error);
    if (disk) own += disk->Used;
  }
  return own;
}

Room LookForRoom(const RunContext& context, const BackupJob& job) {
  const Result<Folder> source = context.Files.OpenFolder(job.Source.WorkPath);
  const Place dest = FindPlace(context.Files, job.Destination.WorkPath);
  if (!source || !dest.Nearest) return {};
  const Result<DiskSpace> source_disk = source->Space(), disk = dest.Nearest.Space();
  const Result<FileStatus> from = source->Status(), to = dest.Nearest.Status();
  if (!source_disk || !disk || !from || !to) return {};
  // Copies within such a file system share their blocks with the source.
  const bool shared = disk->SharesBlocks && from->Device == to->Device;
  // What takes from the former state adds no more than one that is there already.
  const bool grows =
      dest.Exists || (context.Making.Former && context.Making.Former->Sharing().Possible());
  return {!shared, grows, disk->Free, BytesOnSourceDisks(context, job, source_disk->Used)};
}

/// The most that the run can need, without looking at a single file.
std::uint64_t RoughNeed(const JobExtras& extras, const Room& room) {
  if (extras.SourceBytes == 0 || extras.SourceDiskBytes == 0) return room.SourceDisks;
  // What has come to the source since has come to its disks.
  const std::uint64_t grown = room.SourceDisks - std::min(room.SourceDisks, extras.SourceDiskBytes);
  // A backup that is there already takes only what has changed since, and the largest file beside
  // its former self; a new one all of it.
  const std::uint64_t expected = room.DestExists
                                     ? std::max(extras.SourceBytes / 10, extras.LargestFile)
                                     : extras.SourceBytes * 2;
  return std::min(room.SourceDisks, expected + grown);
}

/// Rounded, so that the file of extras need not be written after every run.
std::uint64_t RoundedUp(std::uint64_t bytes) {
  return std::bit_ceil(std::clamp<std::uint64_t>(bytes, 1, std::uint64_t{1} << 60));
}

}  // namespace

bool PassSpaceCheck(RunContext& context, const BackupJob& job) {
  if (context.Force || !job.Extras.CheckSpace) return true;
  const Room room = LookForRoom(context, job);
  if (!room.Known || room.Free >= RoughNeed(job.Extras, room)) return true;
  RunPlan plan;
  plan.Depth = RunPlan::Level::Sizes;
  PlanWalk(context, job, plan);
  if (context.State.CancelRequested) return false;
  const std::u16string objection = SpaceObjection(context, job, plan);
  return objection.empty() || AskToGoOn(context, job, RunRefusal::NoSpace, kSpaceTitle, objection);
}

std::u16string SpaceObjection(const RunContext& context, const BackupJob& job,
                              const RunPlan& plan) {
  const Room room = LookForRoom(context, job);
  // No less than nothing; the end is on the way, too.
  const auto need = static_cast<std::uint64_t>(plan.PeakBytes);
  if (!job.Extras.CheckSpace || !room.Known || need <= room.Free) return {};
  return Fill(u"目標磁碟空間不足，需要 %1，可用 %2",
              {FormatSize(need, SizeMode::Scaled), FormatSize(room.Free, SizeMode::Scaled)});
}

void NoteSourceSize(const RunContext& context, BackupJob& job) {
  JobExtras& extras = job.Extras;
  extras.SourceBytes = RoundedUp(context.Report.Counters.SourceBytes);
  extras.LargestFile = RoundedUp(context.Report.Counters.LargestFile);
  const std::uint64_t held = LookForRoom(context, job).SourceDisks;
  const auto digits = static_cast<int>(std::bit_width(held));
  const int dropped = std::max(digits - 8, 0);
  extras.SourceDiskBytes = held >> dropped << dropped;
}

}  // namespace kavrel
