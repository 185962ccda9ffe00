#include "core/job_extras.h"

#include <algorithm>
#include <utility>

namespace kavrel {

namespace {

/// Former pairs of places that are remembered.
constexpr std::size_t kMostFormer = 8;

/// What is known of the source alone, or of the destination alone, wherever the other one is.
void TakeSide(bool of_source, const KnownPlaces& from, KnownPlaces& to) {
  for (const KnownMount& mount : from.Mounts) {
    if (mount.OfSource == of_source) to.Mounts.push_back(mount);
  }
  if (!of_source) {
    to.DestinationPlace = from.DestinationPlace;
    return;
  }
  to.SourcePlace = from.SourcePlace;
  to.SourceBytes = from.SourceBytes;
  to.LargestFile = from.LargestFile;
  to.SourceDiskBytes = from.SourceDiskBytes;
}

/// What only a source and a destination together have.
void TakePair(KnownPlaces& from, KnownPlaces& to) {
  to.StateFiles = from.StateFiles;
  to.Made = std::move(from.Made);
  to.Verified = std::move(from.Verified);
  to.Changes = std::move(from.Changes);
}

}  // namespace

void NoteEnd(JobExtras& extras, bool good, BadEnd by, DateTime last_run) {
  if (good) {
    extras.LastGood = kZeroDate;
  } else if (!extras.Bad) {
    extras.LastGood = last_run;
  }
  extras.Bad = !good;
  extras.BadBy = good ? BadEnd::Other : by;
}

void NoteUnbegun(JobExtras& extras, UnbegunRun run, DateTime last_run) {
  std::vector<UnbegunRun>& runs = extras.Unbegun;
  const bool again = !runs.empty() && run.Why == UnbegunRun::Cause::NoArchiver &&
                     runs.back().Why == run.Why && last_run <= runs.back().At &&
                     run.At - runs.back().At < std::chrono::hours(1) && run.At >= runs.back().At;
  extras.NotBegun = true;
  if (again) return;
  if (runs.size() == kMaxUnbegun) runs.erase(runs.begin());
  runs.push_back(std::move(run));
}

void ForgetRuns(JobExtras& extras) {
  const ExtraSettings settings = extras;
  extras = {};
  static_cast<ExtraSettings&>(extras) = settings;
}

void MovePlaces(JobExtras& extras, const PlacePair& from, const PlacePair& to) {
  std::vector<FormerPlaces>& former = extras.Former;
  KnownPlaces& known = extras;
  std::erase_if(former, [&](const FormerPlaces& one) { return one.Pair == from; });
  former.push_back({from, std::exchange(known, {})});
  extras.MirroredTo.clear();
  // Another backup has not been read.
  extras.LastScrub = extras.LastDrill = kZeroDate;
  extras.ScrubAt.clear();
  extras.DrillGood = extras.DrillFiles = 0;
  for (const bool of_source : {true, false}) {
    const auto side = of_source ? &PlacePair::Source : &PlacePair::Destination;
    // The newest knows of all disks that the older ones knew of.
    const auto last = std::find_if(former.rbegin(), former.rend(), [&](const FormerPlaces& one) {
      return one.Pair.*side == to.*side;
    });
    if (last != former.rend()) TakeSide(of_source, last->Known, known);
  }
  const auto same = std::find_if(former.begin(), former.end(),
                                 [&](const FormerPlaces& one) { return one.Pair == to; });
  if (same != former.end()) {
    TakePair(same->Known, known);
    former.erase(same);
  }
  if (former.back().Known == KnownPlaces()) former.pop_back();
  if (former.size() > kMostFormer) former.erase(former.begin());
}

void AcceptPlaces(JobExtras& extras) {
  extras.Mounts.clear();
  if (extras.StateFiles > 0 || !extras.Made.empty()) extras.StateFiles = 0;
}

void ForgetChanges(JobExtras& extras) {
  KnownChanges anew;
  anew.Files = extras.Changes.Files;
  extras.Changes = anew;
}

void AcceptChanges(JobExtras& extras) {
  const bool alarmed = IsAlarmed(extras);
  ForgetChanges(extras);
  if (!alarmed) {
    extras.Changes.Sure = -1;
  } else if (extras.BadBy == BadEnd::Changes) {
    // Nothing but the alarm was wrong with the last run.
    NoteEnd(extras, true, BadEnd::Other, kZeroDate);
  }
}

}  // namespace kavrel
