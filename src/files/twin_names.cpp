#include "files/twin_names.h"

#include <algorithm>

#include "base/text.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

constexpr std::size_t kFirstKeys = 64;

/// The name in other letter case, as far as it has any.
std::u16string InOtherCase(std::u16string_view name) {
  std::u16string other(name);
  for (char16_t& c : other) {
    c = c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - u'a' + u'A') : ToLower(c);
  }
  return other;
}

/// True for letters that have no accents, dots or parts which a disk might write as a letter of
/// their own: of those outside ASCII, the Chinese ones and their punctuation.
bool IsWrittenInOneWay(char16_t c) {
  return c < 0x80 || (c >= 0x4E00 && c < 0xA000) || (c >= 0x3000 && c < 0x3040);
}

bool HasPlainLetter(std::u16string_view name) {
  return std::any_of(name.begin(), name.end(), [](char16_t c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
  });
}

/// Whether the folder lists both names as they are written.
bool ListsBoth(const Folder& folder, std::u16string_view a, std::u16string_view b) {
  bool lists_a = false, lists_b = false;
  FolderReader reader(folder);
  while (const FolderEntry* entry = reader.Next()) {
    lists_a = lists_a || entry->Name == a;
    lists_b = lists_b || entry->Name == b;
  }
  return lists_a && lists_b;
}

bool MeanTheSame(const Folder& folder, std::u16string_view a, std::u16string_view b) {
  const Result<FileStatus> one = folder.Status(a), other = folder.Status(b);
  if (!one || !other) return false;
  if (IsOneEntry(one, other)) return true;
  const bool alike =
      one->Kind == other->Kind && (one->Kind == FileKind::Folder || one->Size == other->Size);
  return alike && NameManners().MayFold(folder, a) && !ListsBoth(folder, a, b);
}

}  // namespace

// FNV-1a of what is left of the name. Two others of one number are only looked at once more.
std::uint64_t FoldedKey(std::u16string_view name) {
  while (name.ends_with(u'.') || name.ends_with(u' ')) name.remove_suffix(1);
  std::uint64_t key = 0xcbf29ce484222325U;
  for (const char16_t c : name) {
    const bool plain = c < u'A' || (c > u'Z' && c < 0x80);  // Most are: spare them the call.
    key = (key ^ (plain ? c : ToLower(c))) * 0x100000001b3U;
  }
  return key != 0 ? key : 1;
}

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

std::vector<std::u16string> TwinNames::Note(const Folder& folder, std::u16string_view name) {
  const std::uint64_t key = FoldedKey(name);
  if (Insert(key)) return {};
  if (names_.empty()) {
    FolderReader reader(folder);
    while (const FolderEntry* entry = reader.Next()) {
      names_[FoldedKey(entry->Name)].push_back(entry->Name);
    }
  }
  const std::vector<std::u16string>& alike = names_[key];
  return {alike.begin(), std::find(alike.begin(), alike.end(), name)};
}

void TwinNames::Forget(std::u16string_view name) {
  const auto alike = names_.find(FoldedKey(name));
  if (alike != names_.end()) std::erase(alike->second, name);
}

bool NameManners::FoldsCase(const Folder& folder, std::u16string_view name) {
  if (tells_case_ && std::all_of(name.begin(), name.end(), IsWrittenInOneWay)) return false;
  const std::u16string other = InOtherCase(name);
  if (other == name) return false;
  if (!IsNotFound(folder.Status(other).Error)) return true;
  // Letters of other scripts may have a case that only some disks know.
  tells_case_ = tells_case_ || (HasPlainLetter(name) && folder.Status(name));
  return false;
}

bool NameManners::MayFold(const Folder& folder, std::u16string_view name) {
  if (!std::all_of(name.begin(), name.end(), IsWrittenInOneWay)) return true;
  if (FoldsCase(folder, name)) return true;
  if (tells_ends_) return false;
  if (!IsNotFound(folder.Status(std::u16string(name) + u".").Error)) return true;
  tells_ends_ = bool{folder.Status(name)};
  return false;
}

bool MeansATwin(const Folder& folder, const std::vector<std::u16string>& twins,
                std::u16string_view name) {
  return std::any_of(twins.begin(), twins.end(),
                     [&](std::u16string_view twin) { return MeanTheSame(folder, twin, name); });
}

bool IsOneEntry(const Result<FileStatus>& a, const Result<FileStatus>& b) {
  return a && b && a->Device == b->Device && a->Id == b->Id &&
         // A file may also have two names.
         (a->Kind == FileKind::Folder || a->Links == 1);
}

}  // namespace kavrel
