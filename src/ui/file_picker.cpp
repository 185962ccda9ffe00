#include "ui/file_picker.h"

#include <QFileDialog>

namespace kavrel {

namespace {

class DesktopPicker final : public FilePicker {
 public:
  QString PickFolder(QWidget& owner, const QString& title, const QString& start) override {
    return QFileDialog::getExistingDirectory(&owner, title, start);
  }

  QString PickSaveFile(QWidget& owner, const QString& title, const QString& start,
                       const QString& filter, const QString& suffix) override {
    QFileDialog dialog(&owner, title, start, filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setOption(QFileDialog::DontConfirmOverwrite);
    dialog.setDefaultSuffix(suffix);
    dialog.selectFile(start);
    return dialog.exec() == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
  }
};

}  // namespace

FilePicker& DesktopFilePicker() {
  static DesktopPicker picker;
  return picker;
}

}  // namespace kavrel
