// 7-Zip.dll as the library, with the functions that it publishes. A command blocks until the DLL is
// done with it.
#include <algorithm>
#include <cstring>
#include <optional>

#include "archive/seven_zip.h"
#include "base/text.h"
#include "files/path.h"
#include "platform/code_page.h"
#include "platform/folders.h"
#include "platform/shared_library.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kLibraryName = u"7-Zip.dll";
constexpr std::u16string_view kPasswordSwitch = u"-p";
constexpr std::size_t kNameBytes = 513;

#pragma pack(push, 1)
/// The record as the DLL fills it.
struct DllEntry {
  std::uint32_t OriginalSize, CompressedSize, Crc, Flag, OsType;
  std::uint16_t Ratio, Date, Time;
  char FileName[kNameBytes];
  char Filler[3];
  char Attribute[8], Mode[8];
};
#pragma pack(pop)

/// The text in a field, which a NUL ends unless it is full.
template <std::size_t Size>
std::string_view FieldText(const char (&field)[Size]) {
  return {field, static_cast<std::size_t>(std::find(field, field + Size, '\0') - field)};
}

/// The DLL as it is loaded for one call: it may be put there or taken away while the program runs.
class Dll {
 public:
  explicit Dll(const FileSystem& files) {
    const std::u16string path = PathOf(files);
    if (path.empty() || !library_.Load(path)) return;
    // Where the DLL can, all text is UTF-8.
    using SetUnicodeMode = int (*)(int);
    if (const auto set = Function<SetUnicodeMode>("SevenZipSetUnicodeMode")) unicode_ = set(1) != 0;
  }

  /// In the program folder or beside the executable; empty when it is in neither.
  static std::u16string PathOf(const FileSystem& files) {
    for (const std::u16string& folder : {files.ProgramFolder(), ExecutableFolder()}) {
      const std::u16string path = JoinPath(folder, kLibraryName);
      const std::optional<std::string> host = files.HostPath(path);
      if (host && files.Status(path)) return FromUtf8(*host);
    }
    return {};
  }

  template <typename Function_>
  Function_ Function(const char* name) const {
    return reinterpret_cast<Function_>(library_.Find(name));
  }

  /// Text as the DLL takes it; nothing when it cannot be said in the DLL's code page.
  std::optional<std::string> ToDll(std::u16string_view text) const {
    return unicode_ ? ToUtf8(text) : EncodeCodePage(text);
  }
  std::u16string FromDll(std::string_view text) const {
    return unicode_ ? FromUtf8(text) : DecodeCodePage(text);
  }

 private:
  SharedLibrary library_;
  bool unicode_ = false;
};

std::u16string Quoted(std::u16string_view word) {
  std::u16string text(word);
  if (text.find(u' ') != text.npos || text.empty()) text = u"\"" + text + u"\"";
  return text;
}

/// A command for the DLL, and which of its paths the archive is.
struct Request {
  Secret Switches;  ///< with the password
  std::u16string Archive, Rest;
  bool Packs = false;

  Secret Line(std::u16string_view archive) const {
    Secret line = Switches;
    line += Quoted(archive);
    line += Rest;
    return line;
  }
};

/// Paths become those of the host; "-r" goes, for the list means exactly the files that it names.
std::optional<Request> Translate(const FileSystem& files, const ArchiveCommand& command) {
  const std::vector<std::u16string> words = SplitCommand(command.Line);
  if (words.empty()) return std::nullopt;
  Request request;
  request.Packs = words[0] == u"a";
  request.Switches = words[0] + u" -hide -scsUTF-8 ";
  Secret password = command.Password;
  int parameters = 0;
  for (std::size_t i = 1; i < words.size(); ++i) {
    const std::u16string_view word = words[i];
    const bool excluded = word.starts_with(u"-x@");
    if (word.starts_with(u'-') && !excluded && parameters == 0) {
      if (word.starts_with(kPasswordSwitch)) {
        if (password.empty()) password = Secret(word.substr(kPasswordSwitch.size()));
      } else if (word != u"-r") {
        request.Switches += Quoted(word) + u" ";
      }
      continue;
    }
    const std::size_t mark = excluded ? 3 : word.starts_with(u'@') ? 1 : 0;
    const std::optional<std::string> host = files.HostPath(word.substr(mark));
    if (!host) return std::nullopt;
    const std::u16string path = std::u16string(word.substr(0, mark)) + FromUtf8(*host);
    if (excluded) {
      request.Switches += Quoted(path) + u" ";
    } else if (parameters++ == 0) {
      request.Archive = path;
    } else {
      request.Rest += u" " + Quoted(path);
    }
  }
  if (parameters < (words[0] == u"t" ? 1 : 2)) return std::nullopt;
  // Here the password stays inside this process.
  if (!password.empty()) {
    request.Switches += u"\"";
    request.Switches += kPasswordSwitch;
    request.Switches += password;
    request.Switches += u"\" ";
  }
  return request;
}

int Send(const Dll& dll, std::u16string_view line, std::size_t buffer_size,
         std::u16string& output) {
  using Command = int (*)(void*, const char*, char*, std::uint32_t);
  const auto send = dll.Function<Command>("SevenZip");
  if (!send) return kNoArchiver;
  std::optional<std::string> text = dll.ToDll(line);
  if (!text) return kBadCommand;
  std::string buffer(buffer_size + 1, '\0');
  const int code =
      send(nullptr, text->c_str(), buffer.data(), static_cast<std::uint32_t>(buffer_size));
  Wipe(*text);
  output = dll.FromDll(buffer.substr(0, buffer.find('\0')));
  return code;
}

IndividualInfo ToInfo(const Dll& dll, const DllEntry& entry) {
  IndividualInfo info;
  info.OriginalSize = entry.OriginalSize;
  info.CompressedSize = entry.CompressedSize;
  info.Crc = entry.Crc;
  info.HasCrc = entry.Crc != 0;
  info.Flag = entry.Flag;
  info.OsType = entry.OsType;
  info.Ratio = entry.Ratio;
  info.Date = entry.Date;
  info.Time = entry.Time;
  const std::optional<DateTime> time =
      FromCivil(1980 + (entry.Date >> 9), entry.Date >> 5 & 15, entry.Date & 31, entry.Time >> 11,
                entry.Time >> 5 & 63, (entry.Time & 31) * 2);
  if (time) info.Modified = FileTimeOf(*time, 0);
  info.FileName = dll.FromDll(FieldText(entry.FileName));
  std::replace(info.FileName.begin(), info.FileName.end(), u'\\', u'/');
  info.Attribute = dll.FromDll(FieldText(entry.Attribute));
  info.Mode = dll.FromDll(FieldText(entry.Mode));
  info.IsFolder =
      info.FileName.ends_with(u'/') || info.Attribute.find_first_of(u"Dd") != std::u16string::npos;
  if (info.FileName.ends_with(u'/')) info.FileName.pop_back();
  return info;
}

}  // namespace

bool SevenZipLibrary::Present() const {
  return !Dll::PathOf(file_system_).empty();
}

int SevenZipLibrary::SevenZip(const ArchiveCommand& command, std::u16string& output) const {
  output.clear();
  const Dll dll(file_system_);
  const std::optional<Request> request = Translate(file_system_, command);
  if (!Present()) return kNoArchiver;
  if (!request) return kBadCommand;
  // A new archive takes its name when it is whole and on the disk.
  const std::u16string half = request->Archive + std::u16string(kHalfEnding);
  const bool is_new = request->Packs && file_system_.Status(request->Archive).Error != 0;
  if (request->Packs) file_system_.RemoveFile(half);
  if (command.Monitor && !command.Monitor->Working(0, {})) return kCommandCancelled;
  if (request->Packs && !is_new && !command.Dropped.empty()) {
    ArchiveCommand drop;
    drop.Line = u"d " + Quoted(request->Archive) + u" " + Quoted(u"@" + command.Dropped);
    drop.Password = command.Password;
    const int dropped = SevenZip(drop, output);
    if (dropped != 0) return dropped;
  }
  if (request->Packs && RemoveOutdated(command) != 0) return 2;
  int code = Send(dll, request->Line(is_new ? half : request->Archive), command.BufferSize, output);
  const bool done = code == 0 || code == 1;
  if (is_new && done && file_system_.PutInPlace(half, request->Archive) != 0) code = 2;
  if (request->Packs && !done) file_system_.RemoveFile(half);
  if (command.Monitor) command.Monitor->Working(100, {});
  return code;
}

std::shared_ptr<SevenZipLibrary::Archive> SevenZipLibrary::SevenZipOpenArchive(
    std::u16string_view path, ArchiveMonitor*) const {
  using OpenArchive = void* (*)(void*, const char*, std::uint32_t);
  using FindFirst = int (*)(void*, const char*, DllEntry*);
  using FindNext = int (*)(void*, DllEntry*);
  using CloseArchive = int (*)(void*);
  using GetArchiveType = int (*)(const char*);
  const Dll dll(file_system_);
  const auto open = dll.Function<OpenArchive>("SevenZipOpenArchive");
  const auto first = dll.Function<FindFirst>("SevenZipFindFirst");
  const auto next = dll.Function<FindNext>("SevenZipFindNext");
  const auto close = dll.Function<CloseArchive>("SevenZipCloseArchive");
  const auto type = dll.Function<GetArchiveType>("SevenZipGetArchiveType");
  const std::optional<std::string> host = file_system_.HostPath(path);
  if (!open || !first || !next || !close || !type || !host) return nullptr;
  const std::optional<std::string> name = dll.ToDll(FromUtf8(*host));
  void* handle = name ? open(nullptr, name->c_str(), 0) : nullptr;
  if (!handle) return nullptr;
  auto archive = std::make_shared<Archive>();
  const int kind = type(name->c_str());
  archive->Type = kind == 1 || kind == 2 ? kind : 0;
  // Larger than any record that the DLL is known to write.
  union {
    DllEntry Entry;
    char Room[4096];
  } record;
  std::memset(&record, 0, sizeof record);
  for (int found = first(handle, "*.*", &record.Entry); found == 0;
       found = next(handle, &record.Entry)) {
    archive->Entries.push_back(ToInfo(dll, record.Entry));
    std::memset(&record, 0, sizeof record);
  }
  close(handle);
  return archive;
}

Result<std::string> SevenZipLibrary::ReadEntries(std::u16string_view path, std::u16string_view list,
                                                 std::u16string_view password,
                                                 ArchiveMonitor*) const {
  using Content = Result<std::string>;
  using ExtractMem =
      int (*)(void*, const char*, char*, std::uint32_t, void*, std::uint16_t*, std::uint32_t*);
  const Dll dll(file_system_);
  const auto extract = dll.Function<ExtractMem>("SevenZipExtractMem");
  ArchiveCommand command;
  command.Line = u"e \"" + std::u16string(path) + u"\" \"@" + std::u16string(list) + u"\"";
  command.Password = password;
  const std::optional<Request> request = Translate(file_system_, command);
  if (!extract || !request) return Content::Fail(2);
  // Without the command letter, which this function does not take.
  std::optional<std::string> line =
      dll.ToDll(std::u16string_view(request->Line(request->Archive)).substr(2));
  if (!line) return Content::Fail(2);
  constexpr std::size_t kMost = std::size_t{1} << 20;  // What is read so are targets of links.
  Content content;
  content->resize(kMost);
  std::uint32_t written = 0;
  content.Error =
      extract(nullptr, line->c_str(), content->data(), kMost, nullptr, nullptr, &written);
  Wipe(*line);
  content->resize(std::min<std::size_t>(written, kMost));
  return content;
}

int SevenZipLibrary::TestEntries(std::u16string_view path, std::u16string_view list,
                                 std::u16string_view password, ArchiveMonitor*) const {
  ArchiveCommand command;
  command.Line = u"t \"" + std::u16string(path) + u"\" \"@" + std::u16string(list) + u"\"";
  command.Password = password;
  std::u16string output;
  return SevenZip(command, output);
}

int SevenZipLibrary::TestArchive(std::u16string_view path, std::u16string_view password,
                                 std::u16string& output, ArchiveMonitor* monitor) const {
  ArchiveCommand command;
  command.Line = u"t \"" + std::u16string(path) + u"\"";
  command.Password = password;
  command.Monitor = monitor;
  command.BufferSize = 65536;
  return SevenZip(command, output);
}

}  // namespace kavrel
