#include "engine/space_check.h"

#include <algorithm>
#include <bit>

#include "engine/place.h"
#include "engine/refusal.h"
#include "engine/run_planner.h"
#include "files/size_text.h"

namespace kavrel {

namespace {

struct Room {
  bool Known = false;
  bool DestExists = false;
  DiskSpace Disk, SourceDisk;
};

Room LookForRoom(const RunContext& context, const BackupJob& job) {
  const Result<Folder> source = context.Files.OpenFolder(job.Source.WorkPath);
  const Place dest = FindPlace(context.Files, job.Destination.WorkPath);
  if (!source || !dest.Nearest) return {};
  const Result<DiskSpace> source_disk = source->Space(), disk = dest.Nearest.Space();
  const Result<FileStatus> from = source->Status(), to = dest.Nearest.Status();
  if (!source_disk || !disk || !from || !to) return {};
  // Copies within such a file system share their blocks with the source.
  const bool shared = disk->SharesBlocks && from->Device == to->Device;
  return {!shared, dest.Exists, *disk, *source_disk};
}

/// The most that the run can need, without looking at a single file.
std::uint64_t RoughNeed(const JobExtras& extras, const Room& room) {
  if (extras.SourceBytes == 0) return room.SourceDisk.Used;
  // A backup that is there already takes only what has changed since, a new one all of it.
  const std::uint64_t expected = room.DestExists ? extras.SourceBytes / 10 : extras.SourceBytes * 2;
  return std::min(room.SourceDisk.Used, expected);
}

}  // namespace

bool PassSpaceCheck(RunContext& context, const BackupJob& job) {
  if (context.Force || !job.Extras.CheckSpace) return true;
  const Room room = LookForRoom(context, job);
  if (!room.Known || room.Disk.Free >= RoughNeed(job.Extras, room)) return true;
  RunPlan plan;
  plan.Depth = RunPlan::Level::Sizes;
  PlanWalk(context, job, plan);
  if (context.State.CancelRequested) return false;
  const std::u16string objection = SpaceObjection(context, job, plan);
  return objection.empty() ||
         AskToGoOn(context, job, RunRefusal::NoSpace, u"檢查可用空間", objection);
}

std::u16string SpaceObjection(const RunContext& context, const BackupJob& job,
                              const RunPlan& plan) {
  const Room room = LookForRoom(context, job);
  const std::uint64_t need = plan.NetBytes > 0 ? static_cast<std::uint64_t>(plan.NetBytes) : 0;
  if (!job.Extras.CheckSpace || !room.Known || need <= room.Disk.Free) return {};
  return u"目標磁碟空間不足，需要 " + FormatSize(need, SizeMode::Scaled) + u"，可用 " +
         FormatSize(room.Disk.Free, SizeMode::Scaled);
}

void NoteSourceSize(BackupJob& job, std::uint64_t bytes) {
  // Rounded, so that the file of extras need not be written after every run.
  job.Extras.SourceBytes =
      std::bit_ceil(std::clamp<std::uint64_t>(bytes, 1, std::uint64_t{1} << 62));
}

}  // namespace kavrel
