// What a copy tells while it works.
#pragma once

#include <cstdint>
#include <string_view>

namespace kavrel {

/// Lets the window or terminal that shows the run handle its events; called often, so an
/// implementation limits its own work by time.
class MessagePump {
 public:
  virtual ~MessagePump() = default;
  virtual void PumpMessages() = 0;
};

/// The receiver of a copy's progress.
class ProgressSink : public MessagePump {
 public:
  /// Sizes in bytes. Returns 1 when the run is to be cancelled, else 0; the copy does not use the
  /// result, it tests the cancel flag itself.
  virtual int ApiFileCopyCallback(std::uint64_t total_size, std::uint64_t bytes_done,
                                  std::uint32_t stream_number, std::uint64_t stream_size,
                                  std::uint64_t stream_bytes_done, std::uint32_t block_size) = 0;
  /// The file at work: its source folder, destination folder and name. The views are valid during
  /// the call only; a sink that draws builds captions from them.
  virtual void DrawCaptions(std::u16string_view source_folder, std::u16string_view dest_folder,
                            std::u16string_view file_name) = 0;
};

}  // namespace kavrel
