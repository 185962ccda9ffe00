// What keeps encrypted files from taking the place of good backups: a run looks at how files have
// changed since their copies were made (docs/decisions/change-guard.md).
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/run_context.h"
#include "files/content_kind.h"

namespace kavrel {

/// Looks at files of one run. All functions are for the run's own thread but for LookAtFolder.
class ChangeWatch {
 public:
  /// Null where nothing is looked at: the job does not want it, has an alarm already, or somebody
  /// has agreed to everything. The work paths are set, and nothing is made yet; both outlive this.
  static std::shared_ptr<ChangeWatch> Begin(RunContext& context, BackupJob& job,
                                            std::u16string_view unit);

  /// Whether what the run writes takes the place of the last backup, so that somebody is asked.
  bool Asks() const { return asks_; }
  /// To be asked of each file before its copy takes its name; `dest`: what that is to replace, null
  /// where nothing is. False when the run is to stop: the host was asked and did not agree.
  bool MayCopy(const FolderPair& pair, const WalkPaths& paths, std::u16string_view name,
               const FileStatus& source, const FileStatus* dest);
  /// A folder of a mirror that these entries are to go from. Any thread.
  void LookAtFolder(const Folder& source, const Folder& dest, std::u16string_view path,
                    const std::vector<FolderEntry>& gone);
  /// Asks about what was looked at so far, as MayCopy does.
  bool Passes();
  /// A folder of the source whose copy in the former state has been opened.
  void LookAtFormer(const FolderPair& pair, std::u16string_view path);
  /// To be asked before what was looked at is packed. False when the run is to stop: it would take
  /// the place of an archive that is there, and the host was asked and did not agree.
  bool MayPack();
  /// A file that goes into an archive.
  void LookAtPacked(const Folder& folder, std::u16string_view name, const FileStatus& status);
  /// At the run's end, before anything old goes: remembers in the job what was found, and raises
  /// the alarm where that is too much.
  void End(std::u16string_view unit);

 private:
  /// Takes the first 128, then every second, and so on: few of many, and a tenth of any number of
  /// them has some.
  class Sampler {
   public:
    bool Takes() {
      if (seen_++ % Stride != 0) return false;
      if (++taken_ % 128 == 0) Stride *= 2;
      return true;
    }
    std::uint32_t Stride = 1;

   private:
    std::uint32_t seen_ = 0, taken_ = 0;
  };
  /// Of a folder of the source and its copy.
  struct Names {
    std::vector<std::u16string> Gone;   ///< files that only the copy has
    std::vector<bool> Known;            ///< of Gone, whether the name tells a format
    std::vector<std::u16string> Fresh;  ///< entries that only the source has
    std::vector<std::u16string> Kept;   ///< files of no known format that both have
    std::vector<bool> Taken;            ///< of Gone, what a file was found to be made of
    std::vector<std::pair<std::uint64_t, std::size_t>> Sizes;  ///< of Gone, with their places in it
    bool Sized = false;
  };

  ChangeWatch(RunContext& context, BackupJob& job, bool asks);
  std::string_view Head(const Folder& folder, std::u16string_view name);
  void LookAtChanged(const Folder& source, std::u16string_view name, const Folder& old,
                     const FileStatus& before, std::uint32_t weight, std::u16string_view path);
  /// A new file that looks encrypted, and how it begins.
  struct NewFile {
    std::u16string_view Name;
    std::uint64_t Size = 0;
    ContentKind Kind;
    std::string Head;
  };
  NewFile ReadNew(const Folder& folder, std::u16string_view name, std::uint64_t size);
  void LookAtNew(const NewFile& file, const Folder& old, Names& names, std::u16string_view path);
  /// Whether it is one of names.Gone under another name: it looked so before.
  bool IsMoved(const NewFile& file, const Folder& old, Names& names);
  /// A file that looks encrypted is made of that one of names.Gone, if that was what its name says.
  void NoteMade(std::size_t place, bool sure, const Folder& old, Names& names,
                std::u16string_view path, std::u16string_view name);
  /// What the content of a file looks like that is large enough to be told; else Plain.
  ContentKind KindOf(const Folder& folder, std::u16string_view name);
  static Names Compare(const Folder& source, const Folder& old);
  /// The file that a new one may have been made of, by name; the end of names.Gone for none.
  static std::size_t ByName(const Names& names, std::u16string_view name);
  /// The same where the names have less in common: `[locked]a.txt` and `a.id-1.[x].txt` of `a.txt`.
  static std::size_t ByLikeName(const Names& names, std::u16string_view name);
  /// Files that came when what they are made of was still there.
  void LookAtKept(const Folder& source, const Folder& old, Names& names, std::u16string_view path);
  static std::size_t BySize(const Folder& old, Names& names, std::uint64_t size);
  static void LearnSizes(const Folder& old, Names& names);
  void Found(bool sure, std::uint32_t weight, std::u16string_view path, std::u16string_view name);
  bool IsTooMuch() const;
  /// Whether somebody agrees to what was found.
  bool Ask();
  std::int64_t SureLimit() const;
  std::int64_t LikelyLimit() const;
  /// How many of a thousand that go into an archive do not go with their names.
  std::int32_t OddShare() const;
  bool HoldsFarMore(std::int32_t usual) const;
  bool JudgePacked(std::u16string_view unit);
  void Raise(std::u16string_view unit);
  std::u16string Text() const;

  RunContext& context_;
  BackupJob& job_;
  const bool asks_;
  bool agreed_ = false;
  std::mutex mutex_;
  Sampler changed_, same_, new_;
  std::array<char, 4096> buffer_{};
  std::u16string names_of_;  ///< the folder that names_ are of
  Names names_;
  bool listed_ = false;
  std::int64_t sure_, likely_;  ///< with those of earlier runs
  std::uint32_t found_ = 0;     ///< in this run
  std::u16string example_;
  std::uint32_t packed_ = 0, looked_ = 0, odd_ = 0;
};

/// The end of the run's watch, if it has one; notes in the report that an alarm stands.
void EndChanges(RunContext& context, BackupJob& job, std::u16string_view unit);
/// What the next runs have to know of a whole one.
void NoteFiles(BackupJob& job, std::uint64_t files);

/// That old states are held back, and since when; empty where nothing is wrong.
std::u16string ChangeAlarmText(const BackupJob& job);

}  // namespace kavrel
