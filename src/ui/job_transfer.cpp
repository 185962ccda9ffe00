#include "ui/job_transfer.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>

#include "app/transfer.h"
#include "files/error_text.h"
#include "ui/file_picker.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {

QString Lines(const std::vector<std::u16string>& paths) {
  QString text;
  for (const std::u16string& path : paths) text += u'\n' + ToQString(path);
  return text;
}

QString NameOf(std::u16string_view path) {
  return QFileInfo(ToQString(path)).fileName();
}

QString Names(const std::vector<std::u16string>& paths) {
  QStringList names;
  for (const std::u16string& path : paths) names += NameOf(path);
  return names.join(TrText(u"、"));
}

QString Reason(int error) {
  if (error == kErrNoJobs) return TrText(u"其中沒有任何備份排程。");
  if (error == kErrBreaksOff) return TrText(u"檔案不完整，最後一個排程只有一部分。");
  if (error == kErrExtrasDamaged) return TrText(u"旁邊的檔案「Backup.ext」不完整或已損毀。");
  return ShownText(ApiErrorText(error));
}

void TellRefused(QWidget& owner, const QString& path, int error) {
  TellFailure(
      owner,
      TrText(u"無法載入備份設定檔案「%1」，%2\n目前的設定沒有變更。").arg(path, Reason(error)));
}

void TellImported(QWidget& owner, const ImportReport& report) {
  QString text = report.KeptAs.empty()
                     ? TrText(u"已載入備份設定檔案「%1」。").arg(NameOf(report.From))
                     : TrText(u"原始檔名已經變更為「%1」請重新啟動本軟體檢查相關備份設定的完整性。")
                           .arg(NameOf(report.KeptAs));
  if (!report.Taken.empty()) text += TrText(u"\n一併載入：") + Names(report.Taken);
  if (!report.KeptToo.empty()) text += TrText(u"\n原來的另存為：") + Names(report.KeptToo);
  Inform(owner, text);
  for (const ImportReport::Failure& failure : report.Failed) {
    TellFailure(owner, TrText(u"無法載入「%1」，%2")
                           .arg(ToQString(failure.Path), ShownText(ApiErrorText(failure.Error))));
  }
}

}  // namespace

void ExportByDialog(Program& program, QWidget& owner) {
  if (program.Store.Jobs.empty()) {
    return TellFailure(owner, TrText(u"沒有任何備份排程可以匯出。"));
  }
  const QString folder = DesktopFilePicker().PickFolder(owner, TrText(u"目的資料夾"), {});
  if (folder.trimmed().isEmpty()) return Attract(owner);
  const std::vector<std::u16string> replaced = ReplacedByExport(program, FromQString(folder));
  if (!replaced.empty() &&
      !ConfirmLoss(owner, TrText(u"檔案已存在，您要覆蓋它嗎？") + Lines(replaced), {})) {
    return;
  }
  const ExportReport report = ExportAll(program, FromQString(folder));
  if (!report.Error) return Inform(owner, TrText(u"已匯出：") + Lines(report.Written));
  TellFailure(
      owner,
      TrText(u"無法匯出備份設定至「%1」，%2").arg(folder, ShownText(ApiErrorText(report.Error))));
}

bool ImportByDialog(Program& program, QWidget& owner) {
  const QString path = QDir::toNativeSeparators(QFileDialog::getOpenFileName(
      &owner, TrText(u"載入備份設定檔案"), {}, TrText(u"備份設定檔案 (*.Rtm *.rtm)")));
  if (path.isEmpty()) return false;
  const std::u16string store = FromQString(path);
  // What cannot be taken is told before anything is asked about it.
  if (const int error = program.Store.CheckImport(store)) {
    TellRefused(owner, path, error);
    return false;
  }
  const std::vector<std::u16string> beside = SharedBeside(program, store);
  const bool shared =
      !beside.empty() &&
      ConfirmLoss(owner,
                  TrText(u"旁邊還有排除規則或檔案類型（%1），要一併載入嗎？").arg(Names(beside)),
                  TrText(u"目前的會另存為其他名稱。"));
  const ImportReport report = ImportAll(program, store, shared);
  if (report.Error) {
    TellRefused(owner, path, report.Error);
    return false;
  }
  TellImported(owner, report);
  return true;
}

}  // namespace kavrel
