#include <nlohmann/json.hpp>

#include "app/drives.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "files/path.h"
#include "platform/drives.h"
#include "platform/folders.h"

namespace kavrel {

namespace {

std::u16string StateText(DriveState state) {
  constexpr std::u16string_view kTexts[] = {TrLater(u"可用"), TrLater(u"未對應"),
                                            TrLater(u"未掛載"), TrLater(u"資料夾不存在")};
  return std::u16string(kTexts[static_cast<std::size_t>(state)]);
}

std::string_view StateKey(DriveState state) {
  constexpr std::string_view kKeys[] = {"ready", "unmapped", "not-mounted", "folder-missing"};
  return kKeys[static_cast<std::size_t>(state)];
}

std::u16string Joined(const std::vector<std::u16string>& names) {
  std::u16string text;
  for (const std::u16string& name : names) {
    (text += text.empty() ? u"" : Tr(u"、")) += ShownName(name);
  }
  return text;
}

nlohmann::json JsonNames(const std::vector<std::u16string>& names) {
  nlohmann::json list = nlohmann::json::array();
  for (const std::u16string& name : names) list.push_back(JsonText(name));
  return list;
}

/// The drive that was typed; empty, after saying so, when it is none.
std::u16string ReadDrive(const std::string& text) {
  const std::u16string typed = FromUtf8(text);
  std::u16string drive = DriveOf(typed);
  if (drive.empty() || DropBackslash(typed).size() != drive.size()) {
    PrintError(Fill(Tr("a drive is written as C: and a share as '\\\\server\\share', not as %1"),
                    {Printable(typed)}));
    drive.clear();
  }
  return drive;
}

int Done(ErrorCode error, const std::u16string& drive) {
  if (error == 0) return kDone;
  PrintError(Printable(drive) + ": " + ToUtf8(SystemErrorText(error)));
  return kBadInput;
}

}  // namespace

int ListDrives(Session& session, bool json) {
  if (!session.Open()) return session.Failure();
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<std::u16string>> rows{{TrCell(u"磁碟機"), TrCell(u"對應的資料夾"),
                                                 TrCell(u"狀態"), TrCell(u"使用的排程"),
                                                 TrCell(u"使用的排除規則")}};
  for (const DriveUse& use : UsedDrives(session.Program())) {
    const DriveState state = DriveStateOf(session.Program(), use);
    list.push_back({{"drive", JsonText(use.Drive)},
                    {"folder", JsonText(use.Folder)},
                    {"state", StateKey(state)},
                    {"jobs", JsonNames(use.Jobs)},
                    {"rules", JsonNames(use.Rules)}});
    rows.push_back({use.Drive, use.Folder, StateText(state), Joined(use.Jobs), Joined(use.Rules)});
  }
  if (json) {
    PrintJson(list);
  } else {
    PrintTable(rows);
  }
  return kDone;
}

int SetDrive(Session& session, const std::string& text, const std::string& folder_text) {
  const std::u16string drive = ReadDrive(text);
  if (drive.empty() || !session.Open(u"kavrelctl drives")) return session.Failure();
  std::u16string folder = AbsolutePath(FromUtf8(folder_text));
  while (folder.size() > 1 && folder.ends_with(u'/')) folder.pop_back();
  const std::u16string_view refusal = CheckDriveFolder(session.Program(), folder);
  if (!refusal.empty()) {
    PrintError(Printable(Shown(refusal)) + ": " + Printable(folder));
    return kBadInput;
  }
  return Done(MapDrive(session.Program().Files, drive, folder), drive);
}

int RemoveDrive(Session& session, const std::string& text) {
  const std::u16string drive = ReadDrive(text);
  if (drive.empty() || !session.Open(u"kavrelctl drives")) return session.Failure();
  return Done(UnmapDrive(session.Program().Files, drive), drive);
}

}  // namespace kavrel
