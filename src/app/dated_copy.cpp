#include "app/dated_copy.h"

#include "base/number.h"
#include "base/text.h"
#include "engine/states.h"
#include "files/error_text.h"
#include "files/file_copy.h"
#include "files/open_along.h"
#include "files/path.h"
#include "files/remove_tree.h"
#include "files/temp_names.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

/// "report (2026-11-25 18.00.00).odt"; from the second one on with a number behind.
std::u16string NumberedName(std::u16string_view name, DateTime date, int number) {
  // No file system minds a full stop.
  std::u16string inserted = u" (" + ReplaceAll(IsoText(date), u":", u".") + u")";
  if (number > 1) inserted += u" (" + Decimal(number) + u")";
  const std::size_t dot = name.rfind(u'.');
  const std::size_t end = dot == name.npos || dot == 0 ? name.size() : dot;
  return std::u16string(name.substr(0, end)) += inserted += name.substr(end);
}

/// Makes a folder for its user alone, and gives its name.
Result<std::u16string> MakePrivateFolder(const Folder& parent, DateTime now) {
  for (std::uint64_t number = FirstTempNumber(now);; ++number) {
    const std::u16string name = TempName(number);
    const Result<Folder> made = parent.MakeFolder(name);
    if (made) return {name, 0};
    if (!IsTaken(made.Error)) return Result<std::u16string>::Fail(made.Error);
  }
}

/// A folder that came with its permissions may keep what is in it.
void Unlock(const FileSystem& files, std::u16string_view root, std::u16string_view below) {
  Result<Folder> folder = files.OpenFolder(root);
  if (below.empty()) return;
  for (const std::u16string_view part : Split(below, u'/')) {
    if (folder) folder = folder->OpenFolder(part);
    if (!folder || folder->MakeWritable() != 0) return;
  }
}

StateCopy CopyOutOfFolder(const RunContext& context, RunState& state, MessagePump& pump,
                          std::u16string_view unit, std::u16string_view path,
                          std::u16string_view target) {
  const auto failed = [](ErrorCode why) { return StateCopy{false, false, ApiErrorText(why)}; };
  const std::u16string_view below = RelativeFolder(path), name = RelativeName(path);
  const Result<Folder> from = OpenBelow(context.Files.OpenFolder(unit), below);
  if (!from) return failed(from.Error);
  const Result<FileStatus> status = from->Status(name);
  if (!status) return failed(status.Error);
  if (status->Kind != FileKind::File) return failed(kErrNotSupported);
  const std::u16string place = PathBelow(target, below);
  const Result<Folder> to = context.Files.MakeFolders(place);
  if (!to) return failed(to.Error);
  CopyContext copying{.State = state, .Time = context.Time, .Pump = &pump};
  const CopyResult result =
      CopyFileShown(copying, {*from, unit, name, &*status}, {*to, place, name, nullptr});
  return {!result.Failed, false,
          result.Failed ? ApiErrorText(state.LastApiError) : std::u16string()};
}

}  // namespace

std::u16string DatedName(std::u16string_view name, DateTime date) {
  return NumberedName(name, date, 1);
}

CopyBeside::CopyBeside(const FileSystem& files, Clock& clock, const BackupJob& job,
                       std::u16string_view path)
    : files_(files), path_(path), folder_(PathBelow(job.Source.Path, RelativeFolder(path))) {
  Result<Folder> opened = files.OpenFolder(folder_);
  error_ = opened.Error;
  if (!opened) return;
  opened_ = std::move(*opened);
  const Result<std::u16string> made = MakePrivateFolder(opened_, clock.Now());
  error_ = made.Error;
  if (made) temp_ = *made;
}

CopyBeside::~CopyBeside() {
  if (!temp_.empty()) RemoveTree(opened_, temp_);
}

RestorePick CopyBeside::Pick() const {
  RestorePick pick;
  pick.Paths.Add(path_);
  pick.Target = PathBelow(folder_, temp_);
  return pick;
}

std::u16string CopyBeside::Staged() const {
  return FileBelow(PathBelow(folder_, temp_), path_);
}

Result<std::u16string> CopyBeside::Place(DateTime date) const {
  Unlock(files_, PathBelow(folder_, temp_), RelativeFolder(path_));
  constexpr int kMost = 10000;
  for (int number = 1;; ++number) {
    const std::u16string path = JoinPath(folder_, NumberedName(RelativeName(path_), date, number));
    const ErrorCode error = files_.Rename(Staged(), path);
    if (!error) return {path, 0};
    if (!IsTaken(error) || number == kMost) return Result<std::u16string>::Fail(error);
  }
}

StateCopy CopyOutOfState(const RunContext& context, MessagePump& pump, const BackupJob& job,
                         std::u16string_view unit, std::u16string_view path,
                         std::u16string_view target) {
  RunState state;
  if (EndsWithSeparator(unit)) return CopyOutOfFolder(context, state, pump, unit, path, target);
  QuietHost host(pump);
  JobLog log(context.Files, context.Time, true);
  RunNotes notes;
  RunContext quiet = context.With(state, host, log, notes);
  RestorePick pick;
  pick.Paths.Add(path);
  BackupJob of_state = JobOfState(job, unit);
  of_state.Destination.WorkPath = target;
  ArchiveContext archiving = quiet.Archiving();
  const int result = ExtractArchive(archiving, of_state, unit, target, &pick);
  StateCopy copy{result == 0, result == kWrongPassword, {}};
  const std::vector<RunFailure>& failures = quiet.Report.Failures.First();
  if (!failures.empty()) copy.Why = failures.front().Reason;
  return copy;
}

}  // namespace kavrel
