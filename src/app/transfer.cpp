#include "app/transfer.h"

#include <array>
#include <utility>

#include "files/path.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kStore = u"Backup.rtm", kExtras = u"Backup.ext";
/// What jobs share, under the same names in the program folder and beside an exported store.
constexpr std::array<std::u16string_view, 2> kShared = {u"Exc.txt", u"FileType.txt"};

/// Puts their file in place of ours, which is kept as a copy.
ErrorCode TakeShared(const FileSystem& files, SharedFile& ours, std::u16string_view theirs,
                     std::vector<std::u16string>& kept) {
  const Result<std::string> bytes = files.ReadWhole(theirs);
  if (!bytes) return bytes.Error;
  // No other program has changed it: the user is told once, with the result of the import.
  const auto tell = std::exchange(
      ours.Kept, [&](std::u16string_view, std::u16string_view copy) { kept.emplace_back(copy); });
  const ErrorCode error = ours.KeepOther();
  ours.Kept = tell;
  return error ? error : files.ReplaceWhole(ours.Path(), *bytes);
}

/// What a link leads to is somebody else's: an export replaces the link itself.
void DropLink(const FileSystem& files, std::u16string_view path) {
  const Result<FileStatus> there = files.Status(path);
  if (there && there->Kind == FileKind::Link) files.RemoveFile(path);
}

}  // namespace

std::u16string StoreAt(const Program& program, std::u16string_view path) {
  return program.Files.FolderExists(path) ? JoinPath(path, kStore) : std::u16string(path);
}

std::vector<std::u16string> SharedBeside(const Program& program, std::u16string_view store) {
  std::vector<std::u16string> beside;
  for (const std::u16string_view name : kShared) {
    std::u16string path = JoinPath(PathFolder(store), name);
    if (program.Files.Status(path)) beside.push_back(std::move(path));
  }
  return beside;
}

ImportReport ImportAll(Program& program, std::u16string_view store, bool shared) {
  ImportReport report;
  report.From = store;
  report.Error = program.ImportJobs(store);
  if (report.Error) return report;
  report.KeptAs = program.Store.KeptAs();
  if (!shared) return report;
  const std::array<SharedFile*, 2> ours = {&program.Exclusions.File(), &program.Filters.File()};
  for (std::size_t i = 0; i < ours.size(); ++i) {
    std::u16string theirs = JoinPath(PathFolder(store), kShared[i]);
    const ErrorCode error = TakeShared(program.Files, *ours[i], theirs, report.KeptToo);
    if (IsNotFound(error)) continue;
    if (error) {
      report.Failed.push_back({std::move(theirs), error});
    } else {
      report.Taken.push_back(std::move(theirs));
    }
  }
  program.Exclusions.LoadExclusions();
  program.Filters.LoadFilters();
  return report;
}

std::vector<std::u16string> ReplacedByExport(const Program& program, std::u16string_view folder) {
  std::vector<std::u16string> there;
  for (const std::u16string_view name : {kStore, kExtras, kShared[0], kShared[1]}) {
    std::u16string path = JoinPath(folder, name);
    if (program.Files.Status(path)) there.push_back(std::move(path));
  }
  return there;
}

ExportReport ExportAll(const Program& program, std::u16string_view folder) {
  ExportReport report;
  for (const std::u16string_view name : {kStore, kExtras}) {
    if (!program.Store.Jobs.empty()) DropLink(program.Files, JoinPath(folder, name));
  }
  report.Error = program.Store.Jobs.empty() ? kErrNoJobs : program.Store.ExportJobs(folder);
  for (const std::u16string_view name : kShared) {
    if (report.Error) return report;
    const std::u16string path = JoinPath(folder, name);
    const Result<std::string> bytes =
        program.Files.ReadWhole(JoinPath(program.Files.ProgramFolder(), name));
    if (bytes) DropLink(program.Files, path);
    report.Error = bytes ? program.Files.ReplaceWhole(path, *bytes) : bytes.Error;
    if (IsNotFound(report.Error)) report.Error = 0;
  }
  if (!report.Error) report.Written = ReplacedByExport(program, folder);
  return report;
}

}  // namespace kavrel
