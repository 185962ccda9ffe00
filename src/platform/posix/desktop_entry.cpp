#include "platform/posix/desktop_entry.h"

namespace kavrel {

// Two levels of escaping, as freedesktop.org defines its entries: the value of a key of type string
// is unescaped first, then Exec is split with its own quoting, in which " ` $ and \ take a
// backslash and % stands for a field code unless it is doubled.

std::string EscapeEntryText(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '\\':
        escaped += "\\\\";
        break;
      case '\n':
        escaped += "\\n";
        break;
      case '\r':
        escaped += "\\r";
        break;
      case '\t':
        escaped += "\\t";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string QuoteExecArgument(std::string_view argument) {
  std::string quoted = "\"";
  for (const char c : argument) {
    if (c == '"' || c == '`' || c == '$' || c == '\\') quoted += '\\';
    quoted += c;
    if (c == '%') quoted += '%';
  }
  return EscapeEntryText(quoted + '"');
}

}  // namespace kavrel
