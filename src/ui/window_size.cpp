#include "ui/window_size.h"

#include <QBoxLayout>
#include <QDialog>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>

#include "platform/settings_store.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {

// What a desktop puts round a window, above all its title.
constexpr QSize kFrame{4, 36};

QSize Room(const QWidget& window) {
  return window.screen()->availableSize() - kFrame;
}

/// Puts what the dialog shows into an area that scrolls, but for its last row when that is one of
/// buttons. Sideways it scrolls only where the screen is too narrow.
void MakeScroll(QDialog& dialog, const QSize& room) {
  QLayout* content = dialog.layout();
  auto* box = qobject_cast<QVBoxLayout*>(content);
  QLayout* buttons = nullptr;
  if (box && box->count() > 0 && box->itemAt(box->count() - 1)->layout()) {
    buttons = box->takeAt(box->count() - 1)->layout();
    buttons->setContentsMargins(content->contentsMargins());
  }
  // With its parent from the start, nothing loses its place in the order of Tab.
  auto* area = new QScrollArea(&dialog);
  area->setObjectName(QStringLiteral("scrDialog"));
  area->setFrameShape(QFrame::NoFrame);
  area->setWidgetResizable(true);
  auto* inner = new QWidget(area);
  inner->setLayout(content);
  area->setWidget(inner);
  const int width =
      inner->minimumSizeHint().width() + area->verticalScrollBar()->sizeHint().width();
  area->setMinimumWidth(std::min(width, room.width()));
  auto* outer = new QVBoxLayout(&dialog);
  outer->setContentsMargins(0, 0, 0, 0);
  outer->addWidget(area, 1);
  if (buttons) outer->addLayout(buttons);
}

}  // namespace

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
  const QSize room = Room(dialog), least = dialog.minimumSizeHint();
  if (least.boundedTo(room) != least) MakeScroll(dialog, room);
  dialog.resize(size.boundedTo(room).expandedTo(dialog.minimumSizeHint()));
}

void LimitSize(QWidget& window, const QSize& smallest) {
  window.setMinimumSize(smallest.boundedTo(Room(window)));
}

void RestorePlace(QWidget& window, const SettingsStore& store, const QString& name) {
  const QString kept = ToQString(store.Get(FromQString(name)).value_or(u""));
  window.restoreGeometry(QByteArray::fromBase64(kept.toLatin1()));
}

void KeepPlace(const QWidget& window, SettingsStore& store, const QString& name) {
  store.Set(FromQString(name), FromQString(QString::fromLatin1(window.saveGeometry().toBase64())));
}

}  // namespace kavrel
