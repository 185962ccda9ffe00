#include "ui/file_picker.h"

#include <QDir>
#include <QFileDialog>

namespace kavrel {

namespace {

class DesktopPicker final : public FilePicker {
 public:
  QString PickFolder(QWidget& owner, const QString& title, const QString& start) override {
    return QDir::toNativeSeparators(QFileDialog::getExistingDirectory(&owner, title, start));
  }

  QString PickSaveFile(QWidget& owner, const QString& title, const QString& start,
                       const QString& filter, const QString& suffix) override {
    QFileDialog dialog(&owner, title, start, filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setOption(QFileDialog::DontConfirmOverwrite);
    // A launcher that is chosen is meant itself, not what it leads to.
    dialog.setOption(QFileDialog::DontResolveSymlinks);
    dialog.setDefaultSuffix(suffix);
    dialog.selectFile(start);
    if (dialog.exec() != QDialog::Accepted) return {};
    return QDir::toNativeSeparators(dialog.selectedFiles().value(0));
  }
};

}  // namespace

FilePicker& DesktopFilePicker() {
  static DesktopPicker picker;
  return picker;
}

}  // namespace kavrel
