#include "archive/packed_files.h"

#include "platform/error_codes.h"
#include "walk/traverse.h"

namespace kavrel {

namespace {

constexpr std::uint64_t kFolder = 0;  ///< of what holds a noted file
constexpr std::uint64_t kKinds = 4;   ///< a state's lowest bits tell the kind

std::size_t SumOf(std::u16string_view path) {
  return std::hash<std::u16string_view>()(path);
}

/// Neither the number of the entry, which not every disk keeps, nor what only looking changes.
std::uint64_t StateOf(const FileStatus& status) {
  std::uint64_t sum = 0xCBF29CE484222325;  // FNV-1a, by words.
  for (const std::int64_t part :
       {static_cast<std::int64_t>(status.Size), std::int64_t{status.Written.Seconds},
        std::int64_t{status.Written.Nanoseconds}, std::int64_t{status.Changed.Seconds},
        std::int64_t{status.Changed.Nanoseconds}}) {
    sum = (sum ^ static_cast<std::uint64_t>(part)) * 0x100000001B3;
    sum ^= sum >> 32;
  }
  return sum / kKinds * kKinds + (status.Kind == FileKind::Link ? 2 : 1);
}

}  // namespace

void PackedFiles::Note(std::u16string_view path, const FileStatus& status) {
  states_[SumOf(path)] = StateOf(status);
  for (std::size_t slash = path.rfind(u'/'); slash != path.npos; slash = path.rfind(u'/')) {
    path = path.substr(0, slash);
    if (!states_.emplace(SumOf(path), kFolder).second) return;
  }
}

/// Goes where something was noted, whatever belongs to the job by now.
class PackedFiles::SecondLook final : public TreeVisitor {
 public:
  SecondLook(const PackedFiles& packed, bool opens, const std::function<bool()>& go_on,
             Doubts& doubts)
      : states_(packed.states_), opens_(opens), go_on_(go_on), doubts_(doubts) {}

 private:
  bool GoesOn() override { return go_on_(); }
  bool Enter(const TraversedFolder& in) override {
    if (!in.IsRoot()) (prefix_ += in.Name) += u'/';
    return true;
  }
  void Leave(const TraversedFolder& in) override {
    if (!in.IsRoot()) prefix_.resize(prefix_.size() - in.Name.size() - 1);
  }

  bool TakeSubfolder(const TraversedFolder&, const FolderEntry& folder, bool) override {
    const State* noted = Find(folder);
    if (noted && *noted != kFolder) doubts_.Replaced.push_back(prefix_ + folder.Name);
    return noted && *noted == kFolder;
  }
  void TakeFile(const TraversedFolder& in, const FolderEntry& file, std::uint32_t) override {
    const State* noted = Find(file);
    if (!noted) return;
    const bool is_special = file.Kind == FileKind::Special;
    const Result<FileStatus> now = is_special ? Result<FileStatus>() : in.Opened.Status(file.Name);
    if (opens_ && !is_special && (!now || now->Kind == FileKind::File)) {
      NoteUnread(file.Name, in.Opened.OpenFile(file.Name).Error);
    }
    if (!now) return;
    const State state = StateOf(*now);
    if (is_special || state % kKinds != *noted % kKinds) {
      doubts_.Replaced.push_back(prefix_ + file.Name);
    } else if (state != *noted) {
      doubts_.Changed.push_back(prefix_ + file.Name);
    }
  }
  void Fail(std::u16string_view, std::u16string_view name, ErrorCode error) override {
    // What lies in it cannot be told one by one.
    if (opens_) NoteUnread(name, error);
  }

  void NoteUnread(std::u16string_view name, ErrorCode why) {
    if (why && !IsNotFound(why)) {
      doubts_.Unread.emplace_back(prefix_ + std::u16string(name), why);
    }
  }
  const State* Find(const FolderEntry& entry) const {
    const auto noted = states_.find(SumOf(prefix_ + entry.Name));
    return noted == states_.end() ? nullptr : &noted->second;
  }

  const std::unordered_map<std::size_t, State>& states_;
  const bool opens_;
  const std::function<bool()>& go_on_;
  Doubts& doubts_;
  std::u16string prefix_;  ///< of the folder at work, for what is in it
};

PackedFiles::Doubts PackedFiles::LookAgain(const FileSystem& files, std::u16string_view source,
                                           bool opens, const std::function<bool()>& go_on) const {
  Doubts doubts;
  SecondLook look(*this, opens, go_on, doubts);
  Traverse(files, source, {}, Scope::OfRestore(true), look).Run();
  return doubts;
}

}  // namespace kavrel
