#include "base/secret.h"
#include "base/text.h"
#include "platform/code_page.h"

namespace kavrel {

namespace {
constexpr std::string_view kMark = "\xEF\xBB\xBF";
}

std::u16string DecodeTextFile(std::string_view bytes) {
  if (bytes.starts_with(kMark)) return FromUtf8(bytes.substr(kMark.size()));
  return DecodeCodePage(bytes);
}

std::string EncodeTextFile(std::u16string_view text) {
  std::optional<std::string> bytes = EncodeCodePage(text);
  // Code page text whose first bytes happen to be the mark would be taken for UTF-8.
  if (bytes && !bytes->starts_with(kMark)) return std::move(*bytes);
  std::string utf8 = ToUtf8(text), marked(kMark);
  marked += utf8;
  Wipe(utf8);
  return marked;
}

}  // namespace kavrel
