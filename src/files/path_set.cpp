#include "files/path_set.h"

namespace kavrel {

namespace {

/// What everything below the path begins with.
std::u16string Below(std::u16string_view path) {
  std::u16string prefix(path);
  if (!prefix.empty()) prefix += u'/';
  return prefix;
}

}  // namespace

void PathSet::RemoveBelow(std::u16string_view path) {
  const std::u16string prefix = Below(path);
  for (auto at = paths_.lower_bound(prefix); at != paths_.end() && at->starts_with(prefix);) {
    at = at->size() == path.size() ? std::next(at) : paths_.erase(at);
  }
}

const std::u16string* PathSet::HolderOf(std::u16string_view path) const {
  for (std::u16string_view at = path;; at = RelativeFolder(at)) {
    if (const auto found = paths_.find(at); found != paths_.end()) return &*found;
    if (at.empty()) return nullptr;
  }
}

bool PathSet::LeadsTo(std::u16string_view path) const {
  const std::u16string prefix = Below(path);
  const auto at = path.empty() ? paths_.upper_bound(prefix) : paths_.lower_bound(prefix);
  return at != paths_.end() && at->starts_with(prefix);
}

std::u16string RelativePath(std::u16string_view folder, std::u16string_view name) {
  return Below(folder) += name;
}

std::u16string_view RelativeFolder(std::u16string_view path) {
  const std::size_t slash = path.rfind(u'/');
  return slash == path.npos ? std::u16string_view() : path.substr(0, slash);
}

std::u16string_view RelativeName(std::u16string_view path) {
  const std::size_t slash = path.rfind(u'/');
  return slash == path.npos ? path : path.substr(slash + 1);
}

}  // namespace kavrel
