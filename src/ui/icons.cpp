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
  const QString number = QString::number(static_cast<int>(id));
  const QDir folder(QStringLiteral(":/icons"));
  // Pictures are there when the toolkit was built without SVG; it makes nothing of a drawing then.
  const QStringList pictures = folder.entryList({number + QStringLiteral("-*.png")});
  QIcon icon;
  for (const QString& picture : pictures) icon.addFile(folder.filePath(picture));
  if (pictures.isEmpty()) icon.addFile(folder.filePath(number + QStringLiteral(".svg")));
  return icon;
}

QByteArray CompletionSound() {
  UseResources();
  QFile file(QStringLiteral(":/ok.wav"));
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}  // namespace kavrel
