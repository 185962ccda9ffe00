// What a file is and does on every system.
#include "platform/error_codes.h"
#include "platform/files.h"

namespace kavrel {

File& File::operator=(File&& other) noexcept {
  if (this != &other) {
    Close();
    handle_ = other.handle_;
    other.handle_ = kNoHandle;
  }
  return *this;
}

Result<std::string> File::ReadToEnd(std::size_t expected, std::size_t limit) {
  using Bytes = Result<std::string>;
  std::string bytes;
  // One byte more than expected, so that a file that grew meanwhile is seen and read on.
  for (std::size_t used = 0;;) {
    bytes.resize(used + (used ? std::size_t{65536} : expected + 1));
    const Result<std::size_t> got = Read(std::span(bytes).subspan(used));
    if (!got) return Bytes::Fail(got.Error);
    used += *got;
    if (used > limit) return Bytes::Fail(kErrTooLarge);
    if (used < bytes.size()) {
      bytes.resize(used);
      return {std::move(bytes), 0};
    }
  }
}

void FileSystem::DropUnfinished(std::u16string_view path) const {
  const std::size_t name = path.find_last_of(u"/\\") + 1;
  std::u16string temporary(path);
  temporary.insert(name, u".").append(u".tmp");
  RemoveFile(temporary);
}

}  // namespace kavrel
