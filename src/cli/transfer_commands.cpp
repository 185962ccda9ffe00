#include <cstdio>

#include "app/drives.h"
#include "app/transfer.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "files/error_text.h"
#include "platform/folders.h"

namespace kavrel {

namespace {

std::string Reason(ErrorCode error) {
  if (error == kErrBreaksOff) return "it breaks off in the midst of a job";
  if (error == kErrExtrasDamaged) return "Backup.ext beside it breaks off or is damaged";
  return error == kErrNoJobs ? "there is no job in it" : ToUtf8(SystemErrorText(error));
}

/// The paths, a blank before each.
std::string Listed(const std::vector<std::u16string>& paths) {
  std::string text;
  for (const std::u16string& path : paths) text += " " + Printable(path);
  return text;
}

}  // namespace

int ImportJobs(Session& session, const std::string& from, bool rules) {
  if (!session.Open(u"kavrelctl import")) return session.Failure();
  Program& program = session.Program();
  const std::u16string store = StoreAt(program, AbsolutePath(FromUtf8(from)));
  const ImportReport report = ImportAll(program, store, rules);
  if (report.Error) {
    PrintError("cannot import " + Printable(store) + ": " + Reason(report.Error) +
               "; nothing was changed");
    return kBadInput;
  }
  std::printf("imported %zu jobs from %s\n", program.Store.Jobs.size(), Printable(store).c_str());
  if (!report.KeptAs.empty()) {
    std::printf("the former jobs are kept as %s\n", Printable(report.KeptAs).c_str());
  }
  for (const std::u16string& path : report.Taken) {
    std::printf("imported %s\n", Printable(path).c_str());
  }
  for (const std::u16string& path : report.KeptToo) {
    std::printf("what was there is kept as %s\n", Printable(path).c_str());
  }
  for (const ImportReport::Failure& failure : report.Failed) {
    PrintError("cannot import " + Printable(failure.Path) + ": " + Reason(failure.Error));
  }
  if (!rules) {
    for (const std::u16string& path : SharedBeside(program, store)) {
      std::printf("left alone %s; --rules imports it\n", Printable(path).c_str());
    }
  }
  for (const DriveUse& use : DrivesToAskAbout(program)) {
    PrintError(Printable(use.Drive) + " leads nowhere here; drives set lets it lead to a folder");
  }
  return report.Failed.empty() ? kDone : kSomeFailed;
}

int ExportJobs(Session& session, const std::string& to, bool force) {
  if (!session.Open()) return session.Failure();
  const Program& program = session.Program();
  const std::u16string folder = AbsolutePath(FromUtf8(to));
  if (!program.Files.FolderExists(folder)) {
    PrintError("there is no folder " + Printable(folder));
    return kBadInput;
  }
  const std::vector<std::u16string> replaced = ReplacedByExport(program, folder);
  if (!force && !replaced.empty()) {
    PrintError("these are there already; --force replaces them:" + Listed(replaced));
    return kBadInput;
  }
  const ExportReport report = ExportAll(program, folder);
  if (report.Error) {
    PrintError("cannot export to " + Printable(folder) + ": " +
               (report.Error == kErrNoJobs ? "there is no job" : Reason(report.Error)));
    return kBadInput;
  }
  std::printf("exported:%s\n", Listed(report.Written).c_str());
  return kDone;
}

}  // namespace kavrel
