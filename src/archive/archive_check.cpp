#include "archive/archive_check.h"

#include <algorithm>

#include "archive/host_monitor.h"
#include "base/text.h"
#include "files/path.h"

namespace kavrel {

std::vector<std::u16string> NamesInErrors(std::u16string_view output) {
  constexpr std::u16string_view kBefore = u" : ";
  std::vector<std::u16string> names;
  for (std::u16string_view line : Split(output, u'\n')) {
    if (!line.starts_with(u"ERROR: ")) continue;
    const std::size_t colon = line.rfind(kBefore);
    if (colon != line.npos) line.remove_prefix(colon + kBefore.size());
    names.emplace_back(line);
  }
  return names;
}

ArchiveCheck CheckArchive(ArchiveContext& context, const BackupJob& job, std::u16string_view path) {
  ArchiveCheck check;
  if (!context.Library.Present()) {
    check.Result = kNoArchiver;
    return check;
  }
  HostMonitor monitor(context, PathFolder(path), {});
  const auto archive = context.Library.SevenZipOpenArchive(path, &monitor);
  if (context.State.CancelRequested) {
    check.Result = kCommandCancelled;
    return check;
  }
  check.Unreadable = !archive || archive->Type == 0;
  bool encrypted = false;
  for (std::size_t i = 0; archive && i < archive->Entries.size(); ++i) {
    const IndividualInfo& entry = archive->Entries[i];
    encrypted = encrypted || entry.Encrypted;
    if (entry.IsFolder) continue;
    ++check.Files;
    check.Bytes += entry.OriginalSize;
  }
  const Secret password = job.UsePassword ? job.Password : Secret();
  check.WrongPassword = encrypted && password.empty();
  check.Result = 2;
  if (check.Unreadable || check.WrongPassword) return check;
  check.Result = context.Library.TestArchive(path, password, check.Output, &monitor);
  if (check.Result == 0 || check.Result == kCommandCancelled) return check;
  check.Damaged = NamesInErrors(check.Output);
  // A wrong password opens no entry; a damaged one may look as if it were encrypted otherwise.
  check.WrongPassword = encrypted && check.Damaged.size() >= check.Files &&
                        check.Output.find(u"Wrong password") != check.Output.npos;
  return check;
}

}  // namespace kavrel
