// The desktop's own dialogs for choosing folders and files, behind an interface.
#pragma once

#include <QString>

class QWidget;

namespace kavrel {

class FilePicker {
 public:
  virtual ~FilePicker() = default;

  /// An existing folder, first shown at `start`; empty when the user chose nothing. Host paths.
  virtual QString PickFolder(QWidget& owner, const QString& title, const QString& start) = 0;
  /// The name of a file to write, first shown as `start`. Does not ask about overwriting. `suffix`
  /// (without its dot) is appended to a name that has none; empty when the user chose nothing.
  virtual QString PickSaveFile(QWidget& owner, const QString& title, const QString& start,
                               const QString& filter, const QString& suffix) = 0;
};

/// The one that shows the desktop's dialogs; it keeps nothing.
FilePicker& DesktopFilePicker();

}  // namespace kavrel
