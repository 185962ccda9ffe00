// A choice of files and folders below one root, by their paths relative to it.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>

namespace kavrel {

/// Paths are parts joined by "/", without one in front or behind; the empty path is the root
/// itself. A folder stands for all that is in it.
class PathSet {
 public:
  void Add(std::u16string_view path) { paths_.emplace(path); }
  void Remove(std::u16string_view path) { paths_.erase(std::u16string(path)); }
  /// Takes out whatever lies below the path, not the path itself.
  void RemoveBelow(std::u16string_view path);
  void Clear() { paths_.clear(); }

  bool Empty() const { return paths_.empty(); }
  /// In the order of their text.
  const std::set<std::u16string, std::less<>>& Paths() const { return paths_; }

  /// The path, or a folder that it lies in, is in the set.
  bool Holds(std::u16string_view path) const { return HolderOf(path) != nullptr; }
  /// What of the set holds it; null when nothing does.
  const std::u16string* HolderOf(std::u16string_view path) const;
  /// Something below the path is in the set.
  bool LeadsTo(std::u16string_view path) const;

 private:
  std::set<std::u16string, std::less<>> paths_;
};

/// `name` in `folder`, which may be the empty path.
std::u16string RelativePath(std::u16string_view folder, std::u16string_view name);
/// The folder of a relative path, empty at the root; and the text behind it.
std::u16string_view RelativeFolder(std::u16string_view path);
std::u16string_view RelativeName(std::u16string_view path);

}  // namespace kavrel
