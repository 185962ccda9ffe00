#include "files/twin_names.h"

#include <algorithm>

#include "base/text.h"

namespace kavrel {

namespace {

constexpr std::size_t kFirstKeys = 64;

/// The same number for all names that a disk may take for one (FNV-1a of what is left of them).
/// Two others of one number would only be looked at once more.
std::uint64_t Key(std::u16string_view name) {
  while (name.ends_with(u'.') || name.ends_with(u' ')) name.remove_suffix(1);
  std::uint64_t key = 0xcbf29ce484222325U;
  for (const char16_t c : name) {
    const bool plain = c < u'A' || (c > u'Z' && c < 0x80);  // Most are: spare them the call.
    key = (key ^ (plain ? c : ToLower(c))) * 0x100000001b3U;
  }
  return key != 0 ? key : 1;
}

}  // namespace

/// False when the key was there.
bool TwinNames::Insert(std::uint64_t key) {
  if (2 * used_ >= keys_.size()) {
    std::vector<std::uint64_t> old(keys_.empty() ? kFirstKeys : 2 * keys_.size());
    old.swap(keys_);
    used_ = 0;
    for (const std::uint64_t one : old) {
      if (one != 0) Insert(one);
    }
  }
  std::size_t at = key & (keys_.size() - 1);
  while (keys_[at] != 0 && keys_[at] != key) at = (at + 1) & (keys_.size() - 1);
  if (keys_[at] == key) return false;
  keys_[at] = key;
  ++used_;
  return true;
}

std::u16string_view TwinNames::Note(const Folder& folder, std::u16string_view name) {
  const std::uint64_t key = Key(name);
  if (Insert(key)) return {};
  if (names_.empty()) {
    FolderReader reader(folder);
    while (const FolderEntry* entry = reader.Next()) names_.emplace(Key(entry->Name), entry->Name);
  }
  const auto [first, end] = names_.equal_range(key);
  const auto twin = std::find_if(first, end, [&](const auto& one) { return one.second != name; });
  return twin == end ? std::u16string_view() : twin->second;
}

bool IsOneEntry(const Result<FileStatus>& a, const Result<FileStatus>& b) {
  return a && b && a->Device == b->Device && a->Id == b->Id &&
         // A file may also have two names.
         (a->Kind == FileKind::Folder || a->Links == 1);
}

}  // namespace kavrel
