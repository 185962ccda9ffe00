// What the command line tells, both in the user's language and in that of programs.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "base/translation.h"
#include "cli/console.h"
#include "cli/json_text.h"

namespace kavrel {

/// A text for the screen, and the same in English for JSON, which is never translated.
class Message {
 public:
  Message() = default;
  /// `id` is a text of the source with %1 … %4 for the arguments. Those are names and paths, or
  /// messages themselves.
  explicit Message(const char* id, std::initializer_list<Message> arguments = {}) {
    std::string_view source[4], shown[4];
    std::size_t count = 0;
    for (const Message& argument : arguments) {
      source[count] = argument.source_;
      shown[count++] = argument.shown_;
    }
    source_ = Fill(id, {source[0], source[1], source[2], source[3]});
    shown_ = Fill(Tr(id), {shown[0], shown[1], shown[2], shown[3]});
  }
  /// A name or a path.
  Message(const std::string& plain) : source_(plain), shown_(plain) {}
  /// What the core has composed.
  static Message OfCore(std::u16string_view text) {
    Message message;
    message.source_ = Printable(EnglishText(text));
    message.shown_ = Printable(kavrel::Shown(text));
    return message;
  }

  bool Empty() const { return source_.empty(); }
  const std::string& Source() const { return source_; }
  const std::string& Shown() const { return shown_; }

 private:
  std::string source_, shown_;
};

/// Marks the text, like Tr.
inline Message Say(const char* id, std::initializer_list<Message> arguments = {}) {
  return Message(id, arguments);
}

}  // namespace kavrel
