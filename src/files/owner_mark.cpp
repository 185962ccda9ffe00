#include "files/owner_mark.h"

#include <algorithm>
#include <array>
#include <random>

#include "base/number.h"
#include "base/text.h"
#include "files/hidden_file.h"
#include "files/path.h"
#include "files/sum_list.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

constexpr std::string_view kHead = "Kavrel owner 1\n";
constexpr std::u16string_view kHalf = u".tmp";
constexpr std::size_t kLargest = 65536;
constexpr std::size_t kStart = 32;  // of a 7z archive: signature, place and checksum of its listing

std::u16string OneLine(std::u16string_view text) {
  std::u16string line(text);
  std::replace_if(
      line.begin(), line.end(), [](char16_t c) { return c == u'\n' || c == u'\r'; }, u' ');
  return line;
}

void AddLine(std::u16string& text, std::u16string_view name, std::u16string_view value) {
  ((text += name) += u'=') += OneLine(value) + u'\n';
}

struct FigureField {
  std::u16string_view Name;
  std::uint64_t OwnerMark::RunFigures::*Field;
};
constexpr FigureField kFigures[] = {{u"Files", &OwnerMark::RunFigures::Files},
                                    {u"Bytes", &OwnerMark::RunFigures::Bytes},
                                    {u"AddedFiles", &OwnerMark::RunFigures::AddedFiles},
                                    {u"AddedBytes", &OwnerMark::RunFigures::AddedBytes},
                                    {u"Failed", &OwnerMark::RunFigures::Failed}};

std::string Format(const OwnerMark& mark) {
  std::u16string text;
  AddLine(text, u"Place", mark.Place);
  if (!mark.Number.empty()) AddLine(text, u"Number", mark.Number);
  if (mark.Found) AddLine(text, u"Found", u"1");
  if (mark.Mirrored) AddLine(text, u"Mirrored", u"1");
  if (mark.Pinned) AddLine(text, u"Pinned", u"1");
  if (!mark.Archive.empty()) AddLine(text, u"Archive", mark.Archive);
  if (mark.Begun != kZeroDate) AddLine(text, u"Begun", IsoText(mark.Begun));
  for (const FigureField& figure : kFigures) {
    if (!mark.Figures) break;
    AddLine(text, figure.Name, Decimal(static_cast<std::int64_t>((*mark.Figures).*figure.Field)));
  }
  for (const OwnerMark::Owner& owner : mark.Owners) {
    AddLine(text, u"Job", owner.Id);
    AddLine(text, u"Name", owner.Name);
    AddLine(text, u"Source", owner.Source);
  }
  return std::string(kHead) + ToUtf8(text);
}

void ParseFigure(std::u16string_view name, std::u16string_view value, OwnerMark& mark) {
  for (const FigureField& figure : kFigures) {
    const std::optional<double> number = name == figure.Name ? ParseNumber(value) : std::nullopt;
    if (!number || *number < 0 || *number >= 9e15) continue;
    if (!mark.Figures) mark.Figures = OwnerMark::RunFigures();
    (*mark.Figures).*figure.Field = static_cast<std::uint64_t>(*number);
  }
}

/// False for a text that is no mark, or not a whole one.
bool Parse(std::string_view bytes, OwnerMark& mark) {
  if (!bytes.starts_with(kHead) || !bytes.ends_with('\n')) return false;
  const std::u16string text = FromUtf8(bytes.substr(kHead.size()));
  for (const std::u16string_view line : Split(text, u'\n')) {
    const std::size_t equals = line.find(u'=');
    if (equals == line.npos) continue;
    const std::u16string_view name = line.substr(0, equals), value = line.substr(equals + 1);
    if (name == u"Place") mark.Place = value;
    if (name == u"Number") mark.Number = value;
    if (name == u"Found") mark.Found = value == u"1";
    if (name == u"Mirrored") mark.Mirrored = value == u"1";
    if (name == u"Pinned") mark.Pinned = value == u"1";
    if (name == u"Archive") mark.Archive = value;
    if (name == u"Begun") mark.Begun = ParseDateTime(value).value_or(kZeroDate);
    ParseFigure(name, value, mark);
    if (name == u"Job") mark.Owners.push_back({std::u16string(value), {}, {}});
    if (mark.Owners.empty()) continue;
    if (name == u"Name") mark.Owners.back().Name = value;
    if (name == u"Source") mark.Owners.back().Source = value;
  }
  return !mark.Owners.empty();
}

std::u16string Hex(std::string_view bytes) {
  constexpr std::u16string_view kDigits = u"0123456789abcdef";
  std::u16string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::u16string MarkName(std::u16string_view archive) {
  return archive.empty() ? std::u16string(kOwnerMark) : ArchiveMark(archive);
}

Result<OwnerMark> ParseOr(const Result<std::string>& bytes) {
  if (!bytes) return Result<OwnerMark>::Fail(bytes.Error);
  OwnerMark mark;
  if (!Parse(*bytes, mark)) return Result<OwnerMark>::Fail(kErrInvalid);
  return {std::move(mark), 0};
}

Result<OwnerMark> ReadMarkFile(const Folder& folder, std::u16string_view name) {
  Result<File> file = folder.OpenFile(name);
  if (!file) return Result<OwnerMark>::Fail(file.Error);
  return ParseOr(file->ReadToEnd(1024, kLargest));
}

/// Leaves the mark as a file; a remark that tells something else would come before it.
ErrorCode WriteMarkFile(const Folder& folder, const OwnerMark& mark, std::u16string_view archive) {
  const std::u16string name = MarkName(archive);
  if (folder.Status(name) && !ReadMarkFile(folder, name)) return kErrExists;
  DropHalfMark(folder, archive);
  const std::u16string half = name + std::u16string(kHalf);
  Result<File> file = MakeHiddenFile(folder, half, 0644);
  if (!file) return file.Error;
  ErrorCode error = file->Write(Format(mark));
  if (!error) error = file->Sync();
  if (const ErrorCode closing = file->Close(); !error) error = closing;
  if (!error) error = folder.Replace(half, name);
  if (error) {
    folder.RemoveFile(half);
    return error;
  }
  if (!folder.Manners().SyncsWhole) error = folder.Sync();
  const ErrorCode left = folder.ReadRemark(archive) ? folder.WriteRemark(archive, {}) : 0;
  return error ? error : left;
}

}  // namespace

bool OwnerMark::Names(std::u16string_view id) const {
  return !id.empty() && std::any_of(Owners.begin(), Owners.end(),
                                    [&](const Owner& owner) { return owner.Id == id; });
}

bool OwnerMark::IsOf(std::u16string_view source) const {
  return std::any_of(Owners.begin(), Owners.end(),
                     [&](const Owner& owner) { return IsSamePath(owner.Source, source); });
}

std::u16string UnfinishedPath(std::u16string_view unit) {
  return AddBackslash(std::u16string(DropBackslash(unit)) += kUnfinished);
}

std::u16string FinishedPath(std::u16string_view path) {
  std::u16string_view name = DropBackslash(path);
  if (!name.ends_with(kUnfinished)) return {};
  name.remove_suffix(kUnfinished.size());
  return EndsWithSeparator(name) ? std::u16string() : AddBackslash(name);
}

std::u16string NewOwnerId() {
  std::random_device chance;
  std::string bytes;
  while (bytes.size() < 16) {
    for (auto [word, i] = std::pair(chance(), 0); i < 4; ++i, word >>= 8) {
      bytes += static_cast<char>(word & 0xFF);
    }
  }
  return Hex(bytes);
}

bool IsOwnerMark(std::u16string_view name) {
  const auto drop = [&](std::u16string_view ending) {
    const bool ends = EndsWithNoCase(name, ending);
    if (ends) name.remove_suffix(ending.size());
    return ends;
  };
  drop(kHalf);
  if (!drop(kOwnerMark)) return false;
  return name.empty() || (name[0] == u'.' && drop(u".7z"));
}

bool IsBackupsOwn(std::u16string_view name) {
  return IsOwnerMark(name) || IsSumList(name) || name == kDamagedFolder;
}

std::u16string ArchiveMark(std::u16string_view archive) {
  return u"." + std::u16string(archive) + std::u16string(kOwnerMark);
}

std::u16string_view MarkedArchive(std::u16string_view mark) {
  mark.remove_suffix(std::min(mark.size(), kOwnerMark.size()));
  return mark.substr(mark.empty() ? 0 : 1);
}

Result<OwnerMark> ReadOwnerMark(const Folder& folder, std::u16string_view archive) {
  const Result<std::string> remark = folder.ReadRemark(archive);
  const bool is_file = IsNotFound(remark.Error);
  Result<OwnerMark> mark = is_file ? ReadMarkFile(folder, MarkName(archive)) : ParseOr(remark);
  if (!mark || archive.empty()) return mark;
  // Something else may have been written in its place.
  const Result<std::u16string> print = ArchiveFingerprint(folder, archive);
  if (!print) return Result<OwnerMark>::Fail(print.Error);
  return *print == mark->Archive ? std::move(mark) : Result<OwnerMark>::Fail(kErrNotFound);
}

ErrorCode WriteOwnerMark(const Folder& folder, const OwnerMark& mark, std::u16string_view archive) {
  const std::u16string name = MarkName(archive);
  // A file of a mark is out of date by now; what is none stays.
  const bool is_mark = bool(ReadMarkFile(folder, name));
  const ErrorCode remarked = folder.WriteRemark(archive, Format(mark));
  if (!remarked) {
    if (is_mark) folder.RemoveFile(name);
    return archive.empty() ? folder.Sync() : folder.SyncFile(archive);
  }
  return IsNotFound(remarked) ? WriteMarkFile(folder, mark, archive) : remarked;
}

Result<Folder> OpenMarked(const FileSystem& files, std::u16string_view place) {
  return files.Answers(place, kMarkPatience) ? files.OpenFolder(place)
                                             : Result<Folder>::Fail(kErrNotFound);
}

ErrorCode MoveMarkToFile(const Folder& folder) {
  const Result<OwnerMark> mark = ParseOr(folder.ReadRemark({}));
  return mark ? WriteMarkFile(folder, *mark, {}) : mark.Error;
}

void DropHalfMark(const Folder& folder, std::u16string_view archive) {
  folder.RemoveFile(MarkName(archive) + std::u16string(kHalf));
}

Result<std::u16string> ArchiveFingerprint(const Folder& folder, std::u16string_view archive) {
  Result<File> file = folder.OpenFile(archive);
  if (!file) return Result<std::u16string>::Fail(file.Error);
  const Result<FileStatus> status = file->Status();
  if (!status) return Result<std::u16string>::Fail(status.Error);
  std::array<char, kStart> start{};
  const Result<std::size_t> got = file->Read(start);
  if (!got) return Result<std::u16string>::Fail(got.Error);
  return {FromUtf8(std::to_string(status->Size)) + u' ' + Hex({start.data(), *got}), 0};
}

bool IsSamePath(std::u16string_view a, std::u16string_view b) {
  a = DropBackslash(a);
  b = DropBackslash(b);
  return IsPosixPath(a) || IsPosixPath(b) ? a == b : EqualNoCase(a, b);
}

}  // namespace kavrel
