#include "ui/icons.h"

#include <QFile>

// Has to stand outside any namespace. The linker would leave the resources out of a program that
// names none of them.
static void UseResources() {
  Q_INIT_RESOURCE(resources);
}

namespace kavrel {

QIcon LoadIcon(IconId id) {
  UseResources();
  return QIcon(QStringLiteral(":/icons/%1.svg").arg(static_cast<int>(id)));
}

QByteArray CompletionSound() {
  UseResources();
  QFile file(QStringLiteral(":/ok.wav"));
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}  // namespace kavrel
