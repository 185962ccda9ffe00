#include "core/run_failures.h"

namespace kavrel {

void RunFailures::Note(std::u16string_view text, std::u16string_view path,
                       std::u16string_view why) {
  if (++count_ > kNoted) return;
  if (text.starts_with(u": ")) text.remove_prefix(2);
  if (text.ends_with(u'：')) text.remove_suffix(1);
  first_.push_back({std::u16string(text), std::u16string(path), std::u16string(why)});
}

}  // namespace kavrel
