// What the note in a lock tells is the same on every system.
#include "platform/process.h"

#include "base/text.h"

namespace kavrel {

std::u16string ProcessLock::Holder(std::u16string_view program_folder) {
  const std::optional<std::string> note = NoteOfHolder(program_folder);
  if (!note) return {};
  return note->empty() ? u"(process ?)" : FromUtf8(note->substr(0, note->find('\n')));
}

std::u16string ProcessLock::WorkOfHolder(std::u16string_view program_folder) {
  const std::string note = NoteOfHolder(program_folder).value_or("");
  const std::size_t end = note.find('\n');
  return end == note.npos ? std::u16string() : FromUtf8(note.substr(end + 1));
}

}  // namespace kavrel
