// Keeps a dialog alive while it reads a backup, until it is told to stop.
#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>

#include "archive/seven_zip.h"
#include "platform/process.h"

namespace kavrel {

class ReadingMonitor final : public ArchiveMonitor {
 public:
  void Begin() {
    working_ = true;
    stopped_ = false;
    pumped_.start();
  }
  /// Ends what is being read; Working is false soon.
  void Stop() { stopped_ = true; }
  void End() { working_ = false; }
  bool AtWork() const { return working_; }
  bool Stopped() const { return stopped_; }

  bool Working(int, std::u16string_view) override {
    if (pumped_.elapsed() < kPumpEveryMs) return !stopped_;
    if (InterruptRequested()) stopped_ = true;
    QCoreApplication::processEvents();
    pumped_.restart();
    return !stopped_;
  }

 private:
  static constexpr int kPumpEveryMs = 25;

  QElapsedTimer pumped_;
  bool working_ = false, stopped_ = false;
};

}  // namespace kavrel
