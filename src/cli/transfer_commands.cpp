#include <cstdio>

#include "app/drives.h"
#include "app/transfer.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "files/error_text.h"
#include "platform/folders.h"

namespace kavrel {

namespace {

std::string Reason(ErrorCode error) {
  if (error == kErrBreaksOff) return Tr("it breaks off in the midst of a job");
  if (error == kErrExtrasDamaged) return Tr("Backup.ext beside it breaks off or is damaged");
  return error == kErrNoJobs ? Tr("there is no job in it") : ToUtf8(SystemErrorText(error));
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
    PrintError(Fill(Tr("cannot import %1: %2; nothing was changed"),
                    {Printable(store), Reason(report.Error)}));
    return kBadInput;
  }
  std::printf("%s\n", Fill(TrCount("imported %1 job from %2", "imported %1 jobs from %2",
                                   program.Store.Jobs.size()),
                           {"", Printable(store)})
                          .c_str());
  if (!report.KeptAs.empty()) {
    std::printf("%s\n",
                Fill(Tr("the former jobs are kept as %1"), {Printable(report.KeptAs)}).c_str());
  }
  for (const std::u16string& path : report.Taken) {
    std::printf("%s\n", Fill(Tr("imported %1"), {Printable(path)}).c_str());
  }
  for (const std::u16string& path : report.KeptToo) {
    std::printf("%s\n", Fill(Tr("what was there is kept as %1"), {Printable(path)}).c_str());
  }
  for (const ImportReport::Failure& failure : report.Failed) {
    PrintError(Fill(Tr("cannot import %1: %2"), {Printable(failure.Path), Reason(failure.Error)}));
  }
  if (!rules) {
    for (const std::u16string& path : SharedBeside(program, store)) {
      std::printf("%s\n", Fill(Tr("left alone %1; --rules imports it"), {Printable(path)}).c_str());
    }
  }
  for (const DriveUse& use : DrivesToAskAbout(program)) {
    PrintError(Fill(Tr("%1 leads nowhere here; drives set lets it lead to a folder"),
                    {Printable(use.Drive)}));
  }
  return report.Failed.empty() ? kDone : kSomeFailed;
}

int ExportJobs(Session& session, const std::string& to, bool force) {
  if (!session.Open()) return session.Failure();
  const Program& program = session.Program();
  const std::u16string folder = AbsolutePath(FromUtf8(to));
  if (!program.Files.FolderExists(folder)) {
    PrintError(Fill(Tr("there is no folder %1"), {Printable(folder)}));
    return kBadInput;
  }
  const std::vector<std::u16string> replaced = ReplacedByExport(program, folder);
  if (!force && !replaced.empty()) {
    PrintError(Fill(Tr("these are there already; --force replaces them:%1"), {Listed(replaced)}));
    return kBadInput;
  }
  const ExportReport report = ExportAll(program, folder);
  if (report.Error) {
    PrintError(
        Fill(Tr("cannot export to %1: %2"),
             {Printable(folder), report.Error == kErrNoJobs ? std::string(Tr("there is no job"))
                                                            : Reason(report.Error)}));
    return kBadInput;
  }
  std::printf("exported:%s\n", Listed(report.Written).c_str());
  return kDone;
}

}  // namespace kavrel
