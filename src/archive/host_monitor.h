// What an archive command shows while it works.
#pragma once

#include <string>
#include <string_view>

#include "archive/compressed_backup.h"

namespace kavrel {

/// Shows the archiver's progress as that of one large file, and carries a cancel back.
class HostMonitor final : public ArchiveMonitor {
 public:
  HostMonitor(ArchiveContext& context, std::u16string_view from, std::u16string_view to)
      : context_(context), from_(from), to_(to) {}

  bool Working(int percent, std::u16string_view current) override {
    if (current != shown_) {
      shown_ = current;
      context_.Host.DrawCaptions(from_, to_, shown_);
    }
    context_.Host.ApiFileCopyCallback(100, static_cast<std::uint64_t>(percent), 0, 100,
                                      static_cast<std::uint64_t>(percent), 1);
    context_.Host.PumpMessages();
    return !context_.State.CancelRequested;
  }

 private:
  ArchiveContext& context_;
  std::u16string from_, to_, shown_;
};

}  // namespace kavrel
