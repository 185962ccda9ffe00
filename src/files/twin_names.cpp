#include "files/twin_names.h"

#include "base/text.h"

namespace kavrel {

namespace {

/// The same number for all names that a disk may take for one (FNV-1a of what is left of them).
/// Two others of one number would only be looked at once more.
std::uint64_t Key(std::u16string_view name) {
  while (name.ends_with(u'.') || name.ends_with(u' ')) name.remove_suffix(1);
  std::uint64_t key = 0xcbf29ce484222325U;
  for (const char16_t c : name) key = (key ^ ToLower(c)) * 0x100000001b3U;
  return key;
}

}  // namespace

std::u16string_view TwinNames::Note(std::u16string_view name) {
  const auto [at, is_new] = first_.try_emplace(Key(name), names_.size());
  if (is_new) {
    names_ += name;
    names_ += u'\0';
    return {};
  }
  const std::u16string_view from = std::u16string_view(names_).substr(at->second);
  const std::u16string_view first = from.substr(0, from.find(u'\0'));
  return first == name ? std::u16string_view() : first;
}

bool IsOneEntry(const Result<FileStatus>& a, const Result<FileStatus>& b) {
  return a && b && a->Device == b->Device && a->Id == b->Id &&
         // A file may also have two names.
         (a->Kind == FileKind::Folder || a->Links == 1);
}

}  // namespace kavrel
