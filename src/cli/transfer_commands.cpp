#include <array>
#include <cstdio>

#include "app/drives.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "files/error_text.h"
#include "files/path.h"
#include "platform/error_codes.h"
#include "platform/folders.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kStore = u"Backup.rtm", kExtras = u"Backup.ext";
/// What jobs share, under the same names in the program folder and beside an exported store.
constexpr std::array<std::u16string_view, 2> kShared = {u"Exc.txt", u"FileType.txt"};

std::string Reason(ErrorCode error) {
  return error == kErrNoJobs ? "there is no job in it" : ToUtf8(SystemErrorText(error));
}

/// The names of those that lie in the folder, with their paths, a blank before each.
std::string TakenNames(const FileSystem& files, std::u16string_view folder) {
  std::string taken;
  for (const std::u16string_view name : {kStore, kExtras, kShared[0], kShared[1]}) {
    if (files.Status(JoinPath(folder, name))) taken += " " + Printable(JoinPath(folder, name));
  }
  return taken;
}

ErrorCode CopyShared(const FileSystem& files, std::u16string_view name,
                     std::u16string_view folder) {
  const Result<std::string> bytes = files.ReadWhole(JoinPath(files.ProgramFolder(), name));
  if (!bytes) return IsNotFound(bytes.Error) ? 0 : bytes.Error;
  return files.ReplaceWhole(JoinPath(folder, name), *bytes);
}

/// Takes rules or file types that lie beside an imported store; ours are kept as a copy, which is
/// told. False, after saying why, when that failed.
bool TakeShared(Program& program, const SharedFile& ours, std::u16string_view theirs) {
  const Result<std::string> bytes = program.Files.ReadWhole(theirs);
  if (IsNotFound(bytes.Error)) return true;
  ErrorCode error = bytes.Error;
  if (!error) error = ours.KeepOther();
  if (!error) error = program.Files.ReplaceWhole(ours.Path(), *bytes);
  if (error) {
    PrintError("cannot import " + Printable(theirs) + ": " + Reason(error));
    return false;
  }
  std::printf("imported %s\n", Printable(theirs).c_str());
  return true;
}

}  // namespace

int ImportJobs(Session& session, const std::string& from, bool rules) {
  if (!session.Open(u"kavrelctl import")) return kBadInput;
  Program& program = session.Program();
  std::u16string path = AbsolutePath(FromUtf8(from));
  if (program.Files.FolderExists(path)) path = JoinPath(path, kStore);
  if (const ErrorCode error = program.Store.ImportJobs(path)) {
    PrintError("cannot import " + Printable(path) + ": " + Reason(error) + "; nothing was changed");
    return kBadInput;
  }
  std::printf("imported %zu jobs from %s\n", program.Store.Jobs.size(), Printable(path).c_str());
  if (!program.Store.KeptAs().empty()) {
    std::printf("the former jobs are kept as %s\n", Printable(program.Store.KeptAs()).c_str());
  }
  const std::array<const SharedFile*, 2> shared = {&program.Exclusions.File(),
                                                   &program.Filters.File()};
  bool whole = true;
  for (std::size_t i = 0; i < shared.size(); ++i) {
    const std::u16string theirs = JoinPath(PathFolder(path), kShared[i]);
    if (rules) {
      whole = TakeShared(program, *shared[i], theirs) && whole;
    } else if (program.Files.Status(theirs)) {
      std::printf("left alone %s; --rules imports it\n", Printable(theirs).c_str());
    }
  }
  for (const DriveUse& use : DrivesToAskAbout(program)) {
    PrintError(Printable(use.Drive) + " leads nowhere here; drives set lets it lead to a folder");
  }
  return whole ? kDone : kSomeFailed;
}

int ExportJobs(Session& session, const std::string& to, bool force) {
  if (!session.Open()) return kBadInput;
  const Program& program = session.Program();
  const std::u16string folder = AbsolutePath(FromUtf8(to));
  if (!program.Files.FolderExists(folder)) {
    PrintError("there is no folder " + Printable(folder));
    return kBadInput;
  }
  const std::string taken = TakenNames(program.Files, folder);
  if (!force && !taken.empty()) {
    PrintError("these are there already; --force replaces them:" + taken);
    return kBadInput;
  }
  ErrorCode error = program.Store.Jobs.empty() ? kErrNoJobs : program.Store.ExportJobs(folder);
  for (const std::u16string_view name : kShared) {
    if (!error) error = CopyShared(program.Files, name, folder);
  }
  if (error) {
    PrintError("cannot export to " + Printable(folder) + ": " +
               (error == kErrNoJobs ? "there is no job" : Reason(error)));
    return kBadInput;
  }
  std::printf("exported:%s\n", TakenNames(program.Files, folder).c_str());
  return kDone;
}

}  // namespace kavrel
