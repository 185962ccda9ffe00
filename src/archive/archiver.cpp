#include "archive/archiver.h"

#include "base/number.h"
#include "base/text.h"
#include "files/path.h"

namespace kavrel {

namespace {

constexpr std::size_t kHeadOfFile = 256, kHeadOfProgram = 262144;
constexpr std::string_view kSevenZipMark("\x37\x7A\xBC\xAF\x27\x1C\x00", 7);
constexpr std::string_view kZipMark("\x50\x4B\x03\x04", 4);
constexpr std::size_t kZipFlags = 6;  // Bit 0 of that byte: the first entry is encrypted.
constexpr std::u16string_view kPasswordSwitch = u"-p";

/// The top folder that an entry lies in or is; empty for a file that lies in none.
std::u16string_view TopFolder(const IndividualInfo& entry) {
  const std::u16string_view name = entry.FileName;
  const std::size_t separator = name.find_first_of(u"\\/");
  if (separator == name.npos) return entry.IsFolder ? name : std::u16string_view();
  return name.substr(0, separator);
}

/// Where the password switch begins in a switch string; npos when there is none.
std::size_t FindPasswordSwitch(std::u16string_view switches) {
  if (switches.starts_with(kPasswordSwitch)) return 0;
  const std::size_t found = switches.find(u" -p");
  return found == switches.npos ? found : found + 1;
}

bool IsProgram(std::string_view head) {
  return head.starts_with("MZ") || head.starts_with(
                                       "\x7F"
                                       "ELF");
}

}  // namespace

int cls7zip::SendDLLCommand(const ArchiveCommand& command, std::u16string& output) {
  /// Turns the library's reports into the fields and the event, and passes them on.
  class Follower final : public ArchiveMonitor {
   public:
    Follower(cls7zip& zip, ArchiveMonitor* next) : zip_(zip), next_(next) {}
    bool Working(int percent, std::u16string_view current) override {
      zip_.ProcessSourceName = current;
      zip_.ProcessWriteSize = static_cast<std::uint32_t>(percent);
      zip_.ProcessFileSize = 100;
      if (zip_.OnProcessing) zip_.OnProcessing();
      return !next_ || next_->Working(percent, current);
    }

   private:
    cls7zip& zip_;
    ArchiveMonitor* next_;
  };
  Follower follower(*this, command.Monitor);
  ArchiveCommand followed = command;
  followed.Monitor = &follower;
  return library_.SevenZip(followed, output);
}

int cls7zip::GetArchiveType(std::u16string_view path, ArchiveMonitor* monitor) const {
  return library_.SevenZipGetArchiveType(path, monitor);
}

int cls7zip::GetFileCount(std::u16string_view path) const {
  return library_.SevenZipGetFileCount(path);
}

std::u16string cls7zip::DelNullChr(std::u16string_view text) {
  return std::u16string(text.substr(0, text.find(u'\0')));
}

bool cls7zip::OpenArchive(std::u16string_view path, ArchiveMonitor* monitor) {
  const auto archive = library_.SevenZipOpenArchive(path, monitor);
  if (!archive) return false;
  if (OnOpenArchive) OnOpenArchive();
  IndividualInfo info;
  std::int32_t index = 0;
  for (int found = library_.SevenZipFindFirst(*archive, info); found == 0;
       found = library_.SevenZipFindNext(*archive, info)) {
    Fill(info);
    if (OnFindArchive) OnFindArchive(index);
    ++index;
  }
  if (OnCloseArchive) OnCloseArchive();
  return true;
}

void cls7zip::Fill(const IndividualInfo& info) {
  constexpr std::u16string_view kHex = u"0123456789ABCDEF";
  FileName = DelNullChr(info.FileName);
  FileSize = FromUtf8(std::to_string(info.OriginalSize));
  FileCompSize = FromUtf8(std::to_string(info.CompressedSize));
  FileRatio = GroupedFixed(info.Ratio / 10.0, 1) + u" %";
  FileCRC.clear();
  for (int shift = 28; shift >= 0; shift -= 4) FileCRC += kHex[info.Crc >> shift & 15];
  FileType = u"7-Zip";
  FileAttr = DelNullChr(info.Attribute);
  for (char16_t& c : FileAttr) {
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 32);
  }
  FILETIME = info.Time;
  FileDate = info.Date;
}

bool cls7zip::IsDoubleFolder(std::u16string_view path, int count) const {
  const auto archive = library_.SevenZipOpenArchive(path);
  IndividualInfo info;
  if (!archive || library_.SevenZipFindFirst(*archive, info) != 0) return false;
  const std::u16string top(TopFolder(info));
  if (top.empty()) return false;
  for (int seen = 1; seen < count && library_.SevenZipFindNext(*archive, info) == 0; ++seen) {
    if (TopFolder(info) != top) return false;
  }
  return true;
}

ClsArc::ClsArc(const SevenZipLibrary& library, const FileSystem& file_system)
    : library_(library), file_system_(file_system), zip_(library) {
  zip_.OnProcessing = [this] {
    ArcName = zip_.ProcessArcName;
    SourceName = zip_.ProcessSourceName;
    DestName = zip_.ProcessDestName;
    pWriteSize = zip_.ProcessWriteSize;
    pFileSize = zip_.ProcessFileSize;
  };
  zip_.OnFindArchive = [this](std::int32_t) {
    Entries.push_back({zip_.FileName, zip_.FileSize, DosTimeText(zip_.FileDate, zip_.FILETIME),
                       zip_.FileCompSize, zip_.FileRatio, zip_.FileType, zip_.FileCRC,
                       zip_.FileAttr});
  };
}

int ClsArc::DoCommand(int archiver_kind) {
  ArchiveCommand command;
  command.Monitor = Monitor;
  command.BufferSize = BufferSize;
  command.Password = Password;
  command.Dropped = Dropped;
  command.Outdated = Outdated;
  Secret switches = Switch;
  const std::size_t at = Command == u"a" ? FindPasswordSwitch(switches) : switches.npos;
  if (at != switches.npos) {
    command.Password = std::u16string_view(switches).substr(at + kPasswordSwitch.size());
    switches.resize(at + kPasswordSwitch.size());
  }
  std::u16string parameters;
  if (!param1.empty()) parameters += QuotePath(param1) + u" ";
  if (!param2.empty()) parameters += QuotePath(param2) + u" ";
  if (!Param3.empty()) parameters += QuotePath(Param3);
  const auto line = [&](std::u16string_view mask) {
    std::u16string text = cls7zip::DelNullChr(Command) + u" ";
    if (!switches.empty()) text += switches + std::u16string(mask) + u" ";
    return text + parameters;
  };
  command.Line = line(u"");
  DebugCommand = line(at != switches.npos ? u"***" : u"");
  ResultBuffer.clear();
  if (archiver_kind != kSevenZipKind && archiver_kind != kZipKind) return 0;
  zip_.ProcessArcName = param1;
  zip_.ProcessDestName = Command == u"a" ? param1 : param2;
  const int result = zip_.SendDLLCommand(command, ResultBuffer);
  ResultBuffer = cls7zip::DelNullChr(ResultBuffer);
  return result;
}

int ClsArc::CheckFile(std::u16string_view path) const {
  const Result<Folder> folder = file_system_.OpenFolder(PathFolder(path));
  if (!folder) return -2;
  Result<File> file = folder->OpenFile(PathName(path));
  if (!file) return -2;
  std::string head(kHeadOfProgram, '\0');
  const Result<std::size_t> got = file->Read(head);
  if (!got) return -3;
  head.resize(*got);
  if (!IsProgram(head)) head.resize(std::min(head.size(), kHeadOfFile));
  if (!library_.Present()) return -1;
  if (head.find(kSevenZipMark) == head.npos && head.find(kZipMark) == head.npos) return -1;
  switch (zip_.GetArchiveType(path, Monitor)) {
    case 2:
      return kSevenZipKind;
    case 1:
      return head.size() > kZipFlags && (head[kZipFlags] & 1) ? kEncryptedZipKind : kZipKind;
    default:
      return -1;
  }
}

void ClsArc::OpenArchive(std::u16string_view path) {
  Entries.clear();
  zip_.OpenArchive(path, Monitor);
}

std::u16string QuotePath(std::u16string_view text) {
  if (text.find_first_of(u", ") == text.npos) return std::u16string(text);
  return u"\"" + std::u16string(text) + u"\"";
}

std::u16string DosTimeText(std::uint16_t date, std::uint16_t time) {
  return Decimal(1980 + (date >> 9)) + u"/" + Decimal(date >> 5 & 15, 2) + u"/" +
         Decimal(date & 31, 2) + u" " + Decimal(time >> 11, 2) + u":" + Decimal(time >> 5 & 63, 2) +
         u":" + Decimal((time & 31) * 2, 2);
}

}  // namespace kavrel
