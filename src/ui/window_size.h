// Dialogs open in the size that the user left them in.
#pragma once

#include <QString>

class QDialog;

namespace kavrel {

class SettingsStore;

/// Gives the dialog the size that is kept under this name, at most the screen's, else `first`, and
/// keeps the size that it has whenever it is closed. Without a store nothing is kept.
void RememberSize(QDialog& dialog, SettingsStore* store, const QString& name, int first_width,
                  int first_height);

}  // namespace kavrel
