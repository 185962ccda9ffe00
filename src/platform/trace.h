// What the program decides and does, line by line, in a file that the user names for a report of a
// fault. Without one it costs a branch.
#pragma once

#include <atomic>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"

namespace kavrel {

extern std::atomic<bool> tracing;

/// Whether a trace is written. What Trace is given is put together behind this. Any thread.
inline bool Tracing() {
  return tracing.load(std::memory_order_relaxed);
}

/// From now on, until the process ends, lines are added to this file; a new one is for its owner
/// alone. With an empty name to the one that $KAVREL_DEBUG names, and to none where that is empty,
/// too. To be called once, before there are other threads. The error that stood in the way.
ErrorCode StartTrace(std::u16string_view file);

/// One line: time, thread, topic, then the words as they are, line breaks within them spelled out.
/// Never to be given a password. Any thread; a line that cannot be written is lost.
void Trace(std::string_view topic, std::initializer_list<std::u16string_view> words);
/// A file or folder, what is done to it and the error that came of it, if any.
void TraceEffect(std::u16string_view what, std::u16string_view path, std::u16string_view name,
                 ErrorCode error);
/// A program that was started, or could not be.
void TraceChild(std::string_view program, const std::vector<std::string>& arguments,
                ErrorCode error);
/// How the program ended.
void TraceExit(int code);

}  // namespace kavrel
