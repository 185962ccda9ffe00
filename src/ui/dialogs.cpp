#include "ui/dialogs.h"

#include "ui/message_box.h"
#include "ui/qt_text.h"

namespace kavrel {

void OpenJobEditor(Program&, std::int32_t, QWidget* parent) {
  Inform(*parent, QStringLiteral("請使用 kavrelctl 編輯備份排程。"));
}

void OpenExclusions(Program&, QWidget* parent) {
  Inform(*parent, QStringLiteral("請使用 kavrelctl rules 編輯排除排程。"));
}

void OpenShortcuts(Program&, QWidget* parent) {
  Inform(*parent, QStringLiteral("捷徑的內容：kavrel 之後接上備份排程的名稱。"));
}

std::optional<std::u16string> PickArchive(const std::vector<ArchiveFile>& archives,
                                          QWidget* parent) {
  if (archives.empty()) return std::nullopt;
  const std::u16string& newest = archives.back().Name;
  if (!Confirm(*parent, QStringLiteral("您確定要還原「%1」嗎？").arg(ToQString(newest))))
    return std::nullopt;
  return newest;
}

void AskAboutPastDue(PastDueQuestion& question, QWidget*) {
  question.Answer(question.DefaultLater);
}

}  // namespace kavrel
