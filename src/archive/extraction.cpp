// Unpacking an archive, which may come from anywhere: nothing lands outside the folder it is
// unpacked into.
#include <algorithm>
#include <set>

#include "archive/compressed_backup.h"
#include "archive/host_monitor.h"
#include "archive/list_file.h"
#include "base/text.h"
#include "files/path.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kFailed = u": 還原檔案 (失敗)：";

/// The parts of an entry's name, which the archiver writes with slashes.
std::vector<std::u16string_view> Parts(std::u16string_view name) {
  std::vector<std::u16string_view> parts = Split(name, u'/');
  std::erase(parts, std::u16string_view());
  return parts;
}

/// Backslashes and colons are letters of a name here, as the archiver takes them.
bool StaysInside(std::u16string_view name) {
  const std::vector<std::u16string_view> parts = Parts(name);
  return !name.starts_with(u'/') && std::find(parts.begin(), parts.end(), u"..") == parts.end();
}

using Names = std::set<std::u16string>;

/// True when a link of this name leads to a place inside the folder, whose own `links` its target
/// may pass. After passing one, ".." means a folder that the text does not tell.
bool LeadsInside(std::u16string_view name, std::u16string_view target, const Names& links) {
  if (target.empty() || target.starts_with(u'/') || target.find(u'\0') != target.npos) return false;
  std::vector<std::u16string_view> at = Parts(name);
  at.pop_back();
  bool known = true;
  for (const std::u16string_view part : Parts(target)) {
    if (part == u"..") {
      if (at.empty() || !known) return false;
      at.pop_back();
    } else if (part != u".") {
      at.push_back(part);
      std::u16string path;
      for (const std::u16string_view above : at) (path += path.empty() ? u"" : u"/") += above;
      known = known && !links.contains(path);
    }
  }
  return true;
}

/// Opens the folder that an entry lies in, following no link below the root; makes what is missing
/// when asked to.
Result<Folder> OpenParent(const FileSystem& files, std::u16string_view root,
                          std::u16string_view name, bool make) {
  Result<Folder> folder = files.OpenFolder(root);
  std::vector<std::u16string_view> parts = Parts(name);
  if (!parts.empty()) parts.pop_back();
  for (const std::u16string_view part : parts) {
    if (!folder) break;
    Result<Folder> next = folder->OpenFolder(part);
    if (IsNotFound(next.Error) && make) next = folder->MakeFolder(part);
    folder = std::move(next);
  }
  return folder;
}

class Extraction {
 public:
  Extraction(ArchiveContext& context, const BackupJob& job, std::u16string_view archive_path,
             std::u16string_view destination)
      : context_(context),
        job_(job),
        path_(archive_path),
        destination_(destination),
        monitor_(context, archive_path, destination),
        archiver_(context.Library, context.Files) {}

  int Run() {
    archiver_.Monitor = &monitor_;
    int kind = archiver_.CheckFile(path_);
    if (kind > kEncryptedKind) kind -= kEncryptedKind;
    if (kind > 0) archive_ = context_.Library.SevenZipOpenArchive(path_, &monitor_);
    if (context_.State.CancelRequested) return kCommandCancelled;
    if (!archive_ || !context_.Files.MakeFolders(destination_)) {
      return Fail(archive_ ? destination_ : path_);
    }
    const std::u16string escape = FindEscape();
    if (!escape.empty()) return Fail(escape);
    int result = TryPassword();
    if (result == kCommandCancelled) return result;
    if (result != 0) return Fail(path_ + u" (密碼錯誤)");
    const std::string links = LinkLines();
    if (links.empty()) {
      result = Unpack(kind, {});
    } else {
      const std::u16string list = WriteListFile(context_.Files, links);
      result = UnpackWithLinks(kind, list);
      RemoveListFile(context_.Files);
    }
    if (result == 0 || !refused_.empty()) CountFiles();
    return result;
  }

 private:
  /// Logs and counts what cannot be restored; gives the archiver's code for an error.
  int Fail(const std::u16string& what) {
    ++context_.Counters.FailedFiles;
    context_.Log.WriteTimed(std::u16string(kFailed) + what);
    return 2;
  }

  std::u16string Password() const { return job_.UsePassword ? job_.Password : std::u16string(); }

  /// The first entry that must not be unpacked: one outside the folder, or one below a link, be
  /// that link in the archive or in the folder already.
  std::u16string FindEscape() {
    Names seen;
    for (const IndividualInfo& entry : archive_->Entries) {
      if (!StaysInside(entry.FileName)) return entry.FileName;
      if (entry.IsLink) links_.insert(entry.FileName);
    }
    for (const IndividualInfo& entry : archive_->Entries) {
      for (std::size_t slash = entry.FileName.find(u'/'); slash != entry.FileName.npos;
           slash = entry.FileName.find(u'/', slash + 1)) {
        if (links_.contains(entry.FileName.substr(0, slash))) return entry.FileName;
      }
      const std::size_t last = entry.FileName.rfind(u'/');
      if (last == entry.FileName.npos || !seen.insert(entry.FileName.substr(0, last)).second) {
        continue;
      }
      const Result<Folder> parent = OpenParent(context_.Files, destination_, entry.FileName, false);
      if (!parent && !IsNotFound(parent.Error)) return entry.FileName;
    }
    return {};
  }

  std::string LinkLines() const {
    std::string lines;
    for (const IndividualInfo& entry : archive_->Entries) {
      if (IsListedLink(entry)) lines += ListLine(entry.FileName) + "\r\n";
    }
    return lines;
  }

  /// The archiver replaces files before it finds that the password does not fit. So the smallest
  /// encrypted entry is read first: 0 when that goes well, or when there is none.
  int TryPassword() {
    const IndividualInfo* smallest = nullptr;
    for (const IndividualInfo& entry : archive_->Entries) {
      if (!entry.Encrypted || entry.OriginalSize == 0 || ListLine(entry.FileName).empty()) continue;
      if (!smallest || entry.OriginalSize < smallest->OriginalSize) smallest = &entry;
    }
    if (!smallest) return 0;
    if (Password().empty()) return 2;
    const std::u16string list = WriteListFile(context_.Files, ListLine(smallest->FileName));
    const int result = context_.Library.TestEntries(path_, list, Password(), &monitor_);
    RemoveListFile(context_.Files);
    return result;
  }

  int UnpackWithLinks(int kind, const std::u16string& list) {
    if (list.empty()) return Fail(path_);
    const Result<std::string> targets =
        context_.Library.ReadEntries(path_, list, Password(), &monitor_);
    if (!targets) return targets.Error == kCommandCancelled ? targets.Error : Fail(path_);
    // Each target's length is known. A name that the list did not find would shift them all.
    std::uint64_t expected = 0;
    for (const IndividualInfo& entry : archive_->Entries) {
      if (IsListedLink(entry)) expected += entry.OriginalSize;
    }
    if (targets->size() != expected) return Fail(path_);
    const int result = Unpack(kind, list);
    if (result == 0 || !refused_.empty()) MakeLinks(*targets);
    return result;
  }

  static bool IsListedLink(const IndividualInfo& entry) {
    return entry.IsLink && !ListLine(entry.FileName).empty();
  }

  int Unpack(int kind, std::u16string_view left_out) {
    archiver_.param1 = path_;
    archiver_.param2 = AddBackslash(destination_);
    archiver_.Command = u"x";
    archiver_.Switch = u"-r -y";
    if (!left_out.empty()) archiver_.Switch += u" \"-x@" + std::u16string(left_out) + u"\"";
    archiver_.BufferSize = 65536;
    archiver_.Password = Password();
    const int result = archiver_.DoCommand(kind);
    if (result != 0) {
      context_.Log.WriteJobLog(ReplaceAll(archiver_.ResultBuffer, u"\n", u"\r\n"));
    }
    if (result != 0 && result != kCommandCancelled) NoteErrors();
    return result;
  }

  /// Counts what the archiver says it could not unpack: "ERROR: why : path", a line each.
  void NoteErrors() {
    const std::u16string folder =
        FromUtf8(context_.Files.HostPath(AddBackslash(destination_)).value_or(std::string()));
    std::uint32_t errors = 0;
    for (std::u16string_view line : Split(archiver_.ResultBuffer, u'\n')) {
      if (!line.starts_with(u"ERROR: ")) continue;
      ++errors;
      line.remove_prefix(std::min(line.rfind(u" : "), line.size() - 3) + 3);
      if (line.starts_with(folder)) line.remove_prefix(folder.size());
      refused_.emplace(line);
    }
    context_.Counters.FailedFiles += std::max(errors, 1U);
  }

  /// The archiver would bend links or leave empty files in their place; so they are made here, from
  /// their targets, which came one after the other.
  void MakeLinks(std::string_view targets) {
    for (const IndividualInfo& entry : archive_->Entries) {
      if (!entry.IsLink) continue;
      std::u16string target;
      if (IsListedLink(entry)) {
        target = FromUtf8(targets.substr(0, static_cast<std::size_t>(entry.OriginalSize)));
        targets.remove_prefix(static_cast<std::size_t>(entry.OriginalSize));
      }
      if (LeadsInside(entry.FileName, target, links_) && MakeLink(entry, target)) continue;
      ++context_.Counters.SourceFiles;
      ++context_.Counters.FailedFiles;
      context_.Log.WriteTimed(std::u16string(kFailed) + entry.FileName + u" -> " + target);
      refused_.insert(entry.FileName);
    }
  }

  bool MakeLink(const IndividualInfo& entry, const std::u16string& target) {
    const Result<Folder> parent = OpenParent(context_.Files, destination_, entry.FileName, true);
    if (!parent) return false;
    const std::u16string_view name = Parts(entry.FileName).back();
    parent->RemoveFile(name);
    if (parent->MakeLink(name, target) != 0) return false;
    Result<FileStatus> made = parent->Status(name);
    made->Accessed = made->Written = entry.Modified;
    return parent->SetLinkTimes(name, *made) == 0;
  }

  void CountFiles() {
    for (const IndividualInfo& entry : archive_->Entries) {
      if (entry.IsFolder || refused_.contains(entry.FileName)) continue;
      ++context_.Counters.SourceFiles;
      ++context_.Counters.CopiedFiles;
      context_.Counters.CopiedBytes += entry.OriginalSize;
    }
  }

  ArchiveContext& context_;
  const BackupJob& job_;
  const std::u16string path_, destination_;
  HostMonitor monitor_;
  ClsArc archiver_;
  std::shared_ptr<SevenZipLibrary::Archive> archive_;
  Names links_, refused_;
};

}  // namespace

int ExtractArchive(ArchiveContext& context, const BackupJob& job, std::u16string_view archive_path,
                   std::u16string_view destination) {
  if (!context.Library.Present()) return kNoArchiver;
  return Extraction(context, job, archive_path, destination).Run();
}

}  // namespace kavrel
