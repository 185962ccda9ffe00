// Keeps the list of sums of a backup (files/sum_list.h) while something is changed in it. What is
// added lies in a journal, which reaches the disk before the copies that it tells of get their
// names; the list is replaced when they all have them. A journal that is there when a run begins
// is one of a killed run: what it speaks of may be the old copy or the new one, so neither sum is
// kept, and the next verification makes them anew. docs/decisions/sums.md has the reasons.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "files/sum_list.h"

namespace kavrel {

/// For the run's own thread. Nothing is read or written until something changes. A failure costs
/// sums, not the run.
class ContentSums {
 public:
  /// `root`: the backup's folder, of its own. Without `keeps` a list that is out of date goes.
  /// `former`: where the files that are shared come from; closed: nowhere.
  ContentSums(Folder root, bool keeps, Folder former = {});
  /// What has not been finished is left to the next run.
  ~ContentSums();

  /// Sorts out what a killed run has left; a run that changes nothing does so, too.
  void Heal();
  /// The file at a path below the root is about to be a copy with this sum. `replaces`: something
  /// may be there, which stays where the run is killed before.
  void Note(std::u16string_view path, const ContentSum& sum, bool replaces);
  /// It is about to be another one, or to go, and its sum is not known.
  void Drop(std::u16string_view path);
  /// A file that was noted has not come to be what it was to be.
  void Fail(std::u16string_view path);
  /// It has the content of a file of the former state.
  void Share(std::u16string_view path, std::u16string_view former_path);

  /// What was noted so far is handed to the disk that is about to be synced; where that does not
  /// sync as a whole, it is on the disk.
  void Reach();
  /// All changes are on the disk: the list takes its place, and the folder's times stay.
  /// `restores`: they are what they were at the first change. Where it cannot be replaced it goes,
  /// as it would tell untruths; an error where not even that can be, or where it went.
  ErrorCode Finish(bool restores = false);

 private:
  /// False where no list is kept.
  bool Begin();
  /// What a killed run has left is taken into the list.
  void TakeUp();
  bool IsOutOfDate(const SumLine& line) const;
  /// An archive goes without a run in its folder.
  bool IsGoneArchive(const SumLine& line) const;
  ErrorCode Write();
  /// What has the name of half a list, also an empty folder of somebody's.
  void ClearHalf();
  void AddFormer(SumListWriter& writer);
  /// The list that was written takes its place, or goes: for `error`, with which it could not be.
  ErrorCode Place(std::u16string_view name, ErrorCode error);
  /// Nothing of the list is true any more.
  void RemoveList();
  void Add(const SumLine& line);

  const Folder root_;
  const Folder former_;
  const bool keeps_;
  bool begun_ = false, listed_ = false, doubtful_ = false;
  bool syncs_whole_ = true;
  FileStatus before_;
  std::optional<SumListWriter> journal_;
  /// Hashes of paths: whose line in the old list is out of date, or in the journal; and what is the
  /// same in the former state under the same path. In pieces, as there may be a million of each.
  std::deque<std::uint64_t> dropped_, failed_, shared_;
  /// What lies elsewhere in the former state.
  std::unordered_multimap<std::uint64_t, std::string> moved_;
};

/// What the log tells of one that could not be replaced, before the backup's path.
inline constexpr std::u16string_view kListFailed = u": 更新校驗碼清單 (失敗)：";

/// Which lines a list has; sixteen bytes for each.
class SumIndex {
 public:
  explicit SumIndex(const Folder& root);
  bool Has(const SumLine& line) const;
  /// Whether it has any for the path.
  bool Knows(std::string_view path) const;
  bool Empty() const { return lines_.empty(); }

 private:
  std::deque<std::uint64_t> lines_, paths_;
};

}  // namespace kavrel
