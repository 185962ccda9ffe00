// Text to bytes where it is done for each file of a run, and memory is worth using again.
#pragma once

#include <string>
#include <string_view>

namespace kavrel {

/// As ToUtf8 (base/text.h), in the place of what `bytes` held.
void PutUtf8(std::u16string_view text, std::string& bytes);

}  // namespace kavrel
