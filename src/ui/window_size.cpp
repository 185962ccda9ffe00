#include "ui/window_size.h"

#include <QDialog>
#include <QScreen>

#include "platform/settings_store.h"
#include "ui/qt_text.h"

namespace kavrel {

void RememberSize(QDialog& dialog, SettingsStore* store, const QString& name, int first_width,
                  int first_height) {
  QSize size(first_width, first_height);
  if (store != nullptr) {
    const auto kept = ToQString(store->Get(FromQString(name)).value_or(u"")).split(u'x');
    bool width_read = false, height_read = false;
    const QSize read(kept.value(0).toInt(&width_read), kept.value(1).toInt(&height_read));
    if (width_read && height_read && read.width() > 0 && read.height() > 0) size = read;
    QObject::connect(&dialog, &QDialog::finished, &dialog, [&dialog, store, name] {
      const QString text = QStringLiteral("%1x%2").arg(dialog.width()).arg(dialog.height());
      if (store->Get(FromQString(name)) != FromQString(text)) {
        store->Set(FromQString(name), FromQString(text));
      }
    });
  }
  dialog.resize(
      size.boundedTo(dialog.screen()->availableSize()).expandedTo(dialog.minimumSizeHint()));
}

}  // namespace kavrel
