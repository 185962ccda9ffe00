#include <nlohmann/json.hpp>

#include "base/number.h"
#include "base/screen_format.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "files/path.h"

namespace kavrel {

namespace {

int ListEntries(Session& session, const std::u16string& path, bool json) {
  ClsArc archiver(session.Program().Archiver, session.Program().Files);
  if (!session.Program().Files.Status(path)) {
    PrintError(Fill(Tr("there is no such archive in %1"), {Printable(PathFolder(path))}));
    return kSourceMissing;
  }
  if (archiver.CheckFile(path) < 0) {
    PrintError(Fill(Tr("no archive that can be read: %1"), {Printable(path)}));
    return kSomeFailed;
  }
  archiver.OpenArchive(path);
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<std::u16string>> rows{
      {TrCell(u"檔案大小"), TrCell(u"日期時間"), u"CRC", TrCell(u"檔案名稱")}};
  for (const ArchiveEntry& entry : archiver.Entries) {
    const std::uint64_t size = std::stoull(ToUtf8(entry.FileSize));
    const std::optional<DateTime> written = ParseDateTime(entry.FileDateTime);
    list.push_back({{"name", JsonText(entry.FileName)},
                    {"size", size},
                    {"modified", JsonTime(written.value_or(kZeroDate))},
                    {"crc", JsonText(entry.FileCRC)}});
    rows.push_back({ScreenNumber(size), written ? ScreenDateTime(*written) : entry.FileDateTime,
                    entry.FileCRC, entry.FileName});
  }
  if (json) {
    PrintJson(list);
  } else {
    PrintTable(rows);
  }
  return kDone;
}

}  // namespace

int ListJobArchives(Session& session, const std::string& name, const std::string& archive,
                    ListForm form) {
  if (!session.Open()) return session.Failure();
  Program& program = session.Program();
  const BackupJob* job = session.FindJob(name);
  if (!job) return kNoSuchJob;
  if (!job->Compressed) {
    PrintError(Fill(Tr("%1: only compressed jobs have archives"), {PrintableName(job->Name)}));
    return kBadInput;
  }
  if (!program.Archiver.Present()) {
    PrintError(Tr(kNoArchiverReason));
    return kNoArchiveProgram;
  }
  const std::u16string folder = ExpandedDestination(*job, session.Clock());
  if (!archive.empty()) {
    const std::optional<std::u16string> chosen = ArchiveName(session, *job, archive);
    return chosen ? ListEntries(session, JoinPath(folder, *chosen), form == ListForm::Json)
                  : kBadInput;
  }
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<std::u16string>> rows{
      {TrCell(u"壓縮檔名稱"), TrCell(u"日期時間"), TrCell(u"檔案大小")}};
  std::vector<std::u16string> names;
  for (const ArchiveFile& found : ListArchives(program.Files, folder, job)) {
    const DateTime written = LocalTime(found.Written);
    names.push_back(found.Name);
    list.push_back(
        {{"name", JsonText(found.Name)}, {"modified", JsonTime(written)}, {"size", found.Size}});
    rows.push_back({found.Name, ScreenDateTime(written), ScreenNumber(found.Size)});
  }
  if (form == ListForm::Json) {
    PrintJson(list);
  } else if (form == ListForm::Names) {
    PrintNames(names);
  } else {
    PrintTable(rows);
  }
  return kDone;
}

}  // namespace kavrel
