#include "ui/icons.h"

#include <QDir>
#include <QFile>

// Has to stand outside any namespace. The linker would leave the resources out of a program that
// names none of them.
static void UseResources() {
  Q_INIT_RESOURCE(resources);
}

namespace kavrel {

QIcon LoadIcon(IconId id) {
  UseResources();
  const QString path = QStringLiteral(":/icons/") + QString::number(static_cast<int>(id));
  // Pictures are there when the toolkit was built without SVG; it makes nothing of a drawing then.
  static const QStringList pictures =
      QDir(QStringLiteral(":/icons")).entryList({QStringLiteral("*-*.png")});
  if (pictures.isEmpty()) return QIcon(path + QStringLiteral(".svg"));
  QIcon icon;
  for (const QString& picture : pictures) {
    const QString file = QStringLiteral(":/icons/") + picture;
    if (file.startsWith(path + u'-')) icon.addFile(file);
  }
  return icon;
}

QByteArray CompletionSound() {
  UseResources();
  QFile file(QStringLiteral(":/ok.wav"));
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}  // namespace kavrel
