// Windows open in the size that the user left them in, and fit on the screen.
#pragma once

#include <QString>

class QDialog;
class QSize;
class QWidget;

namespace kavrel {

class SettingsStore;

/// Gives the dialog the size that is kept under this name, at most the screen's, else `first`, and
/// keeps the size that it has whenever it is closed. Without a store nothing is kept. What does not
/// fit on the screen can be scrolled; a row of buttons at the end stays in sight.
void RememberSize(QDialog& dialog, SettingsStore* store, const QString& name, int first_width,
                  int first_height);

/// Keeps the main window from becoming smaller than this, or than its screen where that is smaller.
void LimitSize(QWidget& window, const QSize& smallest);

/// Gives the main window the place and size that are kept under this name, and keeps them.
void RestorePlace(QWidget& window, const SettingsStore& store, const QString& name);
void KeepPlace(const QWidget& window, SettingsStore& store, const QString& name);

}  // namespace kavrel
