#include "files/twin_names.h"

#include "base/text.h"

namespace kavrel {

namespace {

constexpr std::size_t kFirstSlots = 64;

/// The same number for all names that a disk may take for one (FNV-1a of what is left of them).
/// Two others of one number would only be looked at once more.
std::uint64_t Key(std::u16string_view name) {
  while (name.ends_with(u'.') || name.ends_with(u' ')) name.remove_suffix(1);
  std::uint64_t key = 0xcbf29ce484222325U;
  for (const char16_t c : name) {
    const bool plain = c < u'A' || (c > u'Z' && c < 0x80);  // Most are: spare them the call.
    key = (key ^ (plain ? c : ToLower(c))) * 0x100000001b3U;
  }
  return key;
}

}  // namespace

TwinNames::Slot& TwinNames::Find(std::uint64_t key) {
  std::size_t at = key & (slots_.size() - 1);
  while (slots_[at].End != 0 && slots_[at].Key != key) at = (at + 1) & (slots_.size() - 1);
  return slots_[at];
}

std::u16string_view TwinNames::Note(std::u16string_view name) {
  if (2 * used_ >= slots_.size()) {
    std::vector<Slot> old(slots_.empty() ? kFirstSlots : 2 * slots_.size());
    old.swap(slots_);
    for (const Slot& slot : old) {
      if (slot.End != 0) Find(slot.Key) = slot;
    }
  }
  const std::uint64_t key = Key(name);
  Slot& slot = Find(key);
  if (slot.End == 0) {
    names_ += u'\0';
    names_ += name;
    slot = {key, names_.size()};
    ++used_;
    return {};
  }
  const std::u16string_view names = std::u16string_view(names_).substr(0, slot.End);
  const std::u16string_view first = names.substr(names.rfind(u'\0') + 1);
  return first == name ? std::u16string_view() : first;
}

bool IsOneEntry(const Result<FileStatus>& a, const Result<FileStatus>& b) {
  return a && b && a->Device == b->Device && a->Id == b->Id &&
         // A file may also have two names.
         (a->Kind == FileKind::Folder || a->Links == 1);
}

}  // namespace kavrel
