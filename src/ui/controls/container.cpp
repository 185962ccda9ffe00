#include "ui/controls/container.h"

#include <QVBoxLayout>
#include <QWidget>

namespace kavrel {

void FillContainer(QWidget* container, QWidget* control) {
  auto* layout = new QVBoxLayout(container);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->addWidget(control);
}

}  // namespace kavrel
