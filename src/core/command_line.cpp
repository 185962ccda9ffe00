#include "core/command_line.h"

#include "base/text.h"

namespace kavrel {

std::u16string NextArgument(std::u16string_view command_line, std::size_t& position) {
  std::u16string name;
  bool quoted = false;
  for (; position < command_line.size(); ++position) {
    const char16_t c = command_line[position];
    if (c == u' ' && !quoted) break;
    if (c != u'"') {
      name += c;
    } else if (quoted && position + 1 < command_line.size() && command_line[position + 1] == u'"') {
      name += c;
      ++position;
    } else {
      quoted = !quoted;
    }
  }
  while (position < command_line.size() && command_line[position] == u' ') ++position;
  return name;
}

std::vector<std::u16string> SplitArguments(std::u16string_view command_line) {
  command_line = Trim(command_line);
  std::vector<std::u16string> names;
  std::size_t position = 0;
  do {
    names.push_back(NextArgument(command_line, position));
  } while (position < command_line.size());
  return names;
}

std::u16string JoinArguments(std::span<const std::u16string> names) {
  std::u16string line;
  for (const std::u16string& name : names) {
    if (!line.empty()) line += u' ';
    line += u'"';
    for (const char16_t c : name) line.append(c == u'"' ? 2 : 1, c);
    line += u'"';
  }
  return line;
}

}  // namespace kavrel
