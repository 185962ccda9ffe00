// Keeps the window alive while an archive is read.
#pragma once

#include <QCoreApplication>

#include "archive/seven_zip.h"

namespace kavrel {

class IdleMonitor final : public ArchiveMonitor {
 public:
  bool Working(int, std::u16string_view) override {
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    return true;
  }
};

}  // namespace kavrel
