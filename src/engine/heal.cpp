#include "engine/heal.h"

#include "files/path.h"

namespace kavrel {

namespace {

std::u16string_view HealingText(Healing what) {
  switch (what) {
    case Healing::Completed:
      return u": 放回檔案 (成功)：";
    case Healing::PartRemoved:
      return u": 移除未完成的檔案 (成功)：";
    case Healing::Failed:
      break;
  }
  return u": 移除未完成的檔案 (失敗)：";
}

}  // namespace

void HealStaged(RunContext& context) {
  // Files that are not written at the end of each run anyway.
  for (const std::u16string_view name :
       {u"Backup.ext", u"Exc.txt", u"FileType.txt", u"Pause.txt", u"Staging.jnl"}) {
    context.Files.DropUnfinished(JoinPath(context.Files.ProgramFolder(), name));
  }
  context.Staged.Heal([&](Healing what, std::u16string_view path) {
    if (what != Healing::Failed) return context.LogTimed(HealingText(what), path);
    ++context.Report.Counters.WarningFiles;
    context.Tell(HealingText(what), path);
  });
}

}  // namespace kavrel
