#include "archive/seven_zip.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <set>

#include "archive/tool_run.h"
#include "base/text.h"
#include "files/disk_wait.h"
#include "files/path.h"
#include "platform/child_process.h"

namespace kavrel {

namespace {

constexpr std::string_view kPrograms[] = {"7zz", "7z", "7za"};
constexpr std::uint32_t kPumpSlice = 50;  // milliseconds
constexpr ErrorCode kSyncGivenUp = -1;
constexpr std::u16string_view kPasswordSwitch = u"-p";

/// What a command line asks for, in the 7-Zip program's own terms.
struct Request {
  std::vector<std::string> Arguments;
  std::string Folder = "/";
  std::size_t Archive = 0;  ///< its position among the arguments
  Secret Password;
};

/// Switches go over as they are, but for two: "-r" would take every file of a listed name in any
/// folder, where the list means exactly the files it names; and what follows "-p" is on no command
/// line at all.
std::optional<Request> Translate(const FileSystem& files, const ArchiveCommand& command) {
  const std::vector<std::u16string> words = SplitCommand(command.Line);
  if (words.empty()) return std::nullopt;
  const bool packs = words[0] == u"a";
  Request request;
  request.Arguments = {ToUtf8(words[0]), "-bsp1", "-bb0", "-snl", "-spd", "-scsUTF-8"};
  request.Password = command.Password;
  std::vector<std::string> parameters;
  for (std::size_t i = 1; i < words.size(); ++i) {
    const std::u16string& word = words[i];
    if (word.starts_with(u"-x@")) {
      const std::optional<std::string> list = files.HostPath(std::u16string_view(word).substr(3));
      if (!list) return std::nullopt;
      request.Arguments.push_back("-x@" + *list);
      continue;
    }
    if (word.starts_with(u'-') && parameters.empty()) {
      if (word.starts_with(kPasswordSwitch)) {
        if (request.Password.empty()) request.Password = word.substr(kPasswordSwitch.size());
      } else if (word != u"-r") {
        request.Arguments.push_back(ToUtf8(word));
      }
      continue;
    }
    const bool list = word.starts_with(u'@');
    const std::optional<std::string> host =
        files.HostPath(list ? std::u16string_view(word).substr(1) : word);
    if (!host) return std::nullopt;
    parameters.push_back((list ? "@" : "") + *host);
  }
  if (parameters.size() < 2) return std::nullopt;
  if (packs && !request.Password.empty()) request.Arguments.emplace_back("-p");
  if (!packs) request.Arguments.push_back("-o" + parameters[1]);
  request.Archive = request.Arguments.size();
  request.Arguments.push_back(parameters[0]);
  if (packs) request.Folder = parameters[1];
  request.Arguments.insert(request.Arguments.end(), parameters.begin() + 2, parameters.end());
  return request;
}

/// The switch by which an archive is brought up to date into another file: what is on the disk is
/// taken whatever its time, as the program does without it, and what is not listed stays.
std::string UpdateInto(const std::string& path) {
  return "-up1q1r2x2y2z2w2!" + path;
}

/// The same for one that loses what is listed.
std::string DropInto(const std::string& path) {
  return "-up1q0r0x0y0z0w0!" + path;
}

std::string SystemFailure(std::u16string_view path, ErrorCode error) {
  return "\n" + ToUtf8(path) + " : " + ToUtf8(SystemErrorText(error)) + "\n";
}

/// Follows the progress that the program prints: "12% 3 + name", rewritten with backspaces.
class ProgressReader {
 public:
  /// Takes the end of the text that came last.
  void Follow(std::string_view text) {
    const std::size_t percent = text.rfind('%');
    if (percent == text.npos || percent == 0) return;
    std::size_t digits = percent;
    while (digits > 0 && text[digits - 1] >= '0' && text[digits - 1] <= '9') --digits;
    if (digits == percent) return;
    std::from_chars(text.data() + digits, text.data() + percent, Percent);
    Percent = std::clamp(Percent, 0, 100);
    const std::string_view rest = text.substr(percent + 1);
    const std::size_t mark = rest.find_first_of("+-U");
    const std::size_t end = rest.find_first_of("\b\r\n");
    if (end != rest.npos && mark != rest.npos && mark + 2 < end) {
      std::string_view name = rest.substr(mark + 2, end - mark - 2);
      while (name.ends_with(' ')) name.remove_suffix(1);
      Current = FromUtf8(name);
    }
  }

  int Percent = 0;
  std::u16string Current;
};

/// The text as a reader of a log wants it: what was written over with backspaces is gone.
std::u16string PlainOutput(std::string_view text) {
  std::string plain;
  for (const char c : text) {
    if (c == '\b') {
      if (!plain.empty() && plain.back() != '\n') plain.pop_back();
    } else {
      plain += c;
    }
  }
  return FromUtf8(plain);
}

std::uint64_t ReadNumber(std::string_view text, int base = 10) {
  std::uint64_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value, base);
  return value;
}

/// "2026-11-24 15:34:31.3000394", also as the DOS words, which are local and count two seconds.
void ReadModified(std::string_view text, bool local, IndividualInfo& info) {
  if (text.size() < 19) return;
  const auto part = [&](std::size_t at, std::size_t length) {
    return static_cast<int>(ReadNumber(text.substr(at, length)));
  };
  const std::optional<DateTime> time =
      FromCivil(part(0, 4), part(5, 2), part(8, 2), part(11, 2), part(14, 2), part(17, 2));
  if (!time) return;
  std::string fraction(text.substr(std::min<std::size_t>(20, text.size()), 9));
  fraction.resize(9, '0');
  const auto nanoseconds = static_cast<std::int32_t>(ReadNumber(fraction));
  info.Modified = local ? FileTimeOf(*time, nanoseconds)
                        : FileTime{time->time_since_epoch().count(), nanoseconds};
  const CivilTime t = ToCivil(LocalTime(info.Modified));
  const int year = std::clamp(t.Year, 1980, 2107) - 1980;
  info.Date = static_cast<std::uint16_t>(year << 9 | t.Month << 5 | t.Day);
  info.Time = static_cast<std::uint16_t>(t.Hour << 11 | t.Minute << 5 | t.Second / 2);
}

/// Of letters as "-rw-r-----" the nine bits; 0 for anything else.
std::uint32_t ReadPermissions(std::string_view letters) {
  if (letters.size() != 10) return 0;
  std::uint32_t bits = 0;
  for (const char c : letters.substr(1)) {
    // In the place of an "x", capitals stand for a special bit without one.
    bits = bits << 1 | (c != '-' && c != 'S' && c != 'T' ? 1U : 0U);
  }
  return bits;
}

void ReadField(std::string_view name, std::string_view value, int type, IndividualInfo& info) {
  if (name == "Path") {
    info.FileName = FromUtf8(value);
  } else if (name == "Size") {
    info.OriginalSize = ReadNumber(value);
  } else if (name == "Packed Size") {
    info.CompressedSize = ReadNumber(value);
  } else if (name == "Modified") {
    // A ZIP archive keeps local times, which the program does not turn into another zone's.
    ReadModified(value, type == 1, info);
  } else if (name == "CRC") {
    info.Crc = static_cast<std::uint32_t>(ReadNumber(value, 16));
    info.HasCrc = !value.empty();
  } else if (name == "Method") {
    info.Mode = FromUtf8(value);
  } else if (name == "Encrypted") {
    info.Encrypted = value == "+";
  } else if (name == "Folder") {
    info.IsFolder = info.IsFolder || value == "+";
  } else if (name == "Symbolic Link" || name == "Hard Link") {
    info.IsLink = info.IsLink || !value.empty();
  } else if (name == "Attributes") {
    const std::string_view letters = value.substr(0, value.find(' '));
    const std::string_view unix_part = value.substr(std::min(letters.size() + 1, value.size()));
    if (!letters.starts_with('-') || letters.size() < 10) info.Attribute = FromUtf8(letters);
    info.IsFolder = info.IsFolder || letters.find('D') != letters.npos;
    info.Permissions = ReadPermissions(unix_part.empty() ? letters : unix_part);
    info.IsLink = info.IsLink || unix_part.starts_with('l') || letters.starts_with('l');
  }
}

}  // namespace

SevenZipLibrary::Archive ReadTechnicalListing(std::string_view text) {
  SevenZipLibrary::Archive archive;
  bool in_entries = false, open = false;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line == "----------") in_entries = true;
    const std::size_t equals = line.find(" =");
    if (equals == line.npos) continue;
    const std::string_view name = line.substr(0, equals);
    const std::string_view value = line.substr(std::min(equals + 3, line.size()));
    if (!in_entries) {
      if (name == "Type") archive.Type = value == "7z" ? 2 : value == "zip" ? 1 : 0;
      continue;
    }
    // A name may hold anything, a line that looks like a field included; but each entry begins
    // with its path.
    if (name == "Path") {
      archive.Entries.emplace_back();
      open = true;
    }
    if (open) ReadField(name, value, archive.Type, archive.Entries.back());
  }
  for (IndividualInfo& entry : archive.Entries) {
    if (entry.OriginalSize > 0) {
      const double ratio = 1000.0 * static_cast<double>(entry.CompressedSize) /
                           static_cast<double>(entry.OriginalSize);
      entry.Ratio = static_cast<std::uint16_t>(std::min(ratio, 65535.0));
    }
  }
  return archive;
}

bool SevenZipLibrary::Present() const {
  return !FindProgram(kPrograms, ToUtf8(file_system_.ProgramFolder())).empty();
}

int SevenZipLibrary::RunProgram(const std::vector<std::string>& arguments,
                                const std::string& folder, const ArchiveCommand& command,
                                std::string& output,
                                const std::vector<std::string>& environment) const {
  const std::string program = FindProgram(kPrograms, ToUtf8(file_system_.ProgramFolder()));
  if (program.empty()) return kNoArchiver;
  ChildProcess child;
  // Asked for twice when packing. Without a password the program finds no input and gives up.
  std::string input;
  if (!command.Password.empty()) {
    std::string password = ToUtf8(command.Password);
    input.reserve(2 * password.size() + 2);
    for (int asked = 0; asked < 2; ++asked) (input += password) += '\n';
    Wipe(password);
  }
  const ErrorCode error = child.Start(program, arguments, folder, input, environment);
  Wipe(input);
  if (error) return 2;
  ProgressReader progress;
  const ToolEnd end = FollowTool(child, output, [&] {
    progress.Follow(std::string_view(output).substr(output.size() > 512 ? output.size() - 512 : 0));
    return !command.Monitor || command.Monitor->Working(progress.Percent, progress.Current);
  });
  const int code = child.Wait();
  if (end == ToolEnd::Hung) {
    constexpr int kFatal = 2;
    const bool is_content = std::find(arguments.begin(), arguments.end(), "-so") != arguments.end();
    // not translated: stands among that program's own words
    if (!is_content) output += "\n7-Zip 已有數分鐘沒有任何動作，已將它結束。\n";
    return kFatal;
  }
  return end == ToolEnd::Cancelled ? kCommandCancelled : code;
}

int SevenZipLibrary::DropEntries(const ArchiveCommand& command, const std::string& archive,
                                 const std::string& rest, std::string& output) const {
  const std::optional<std::string> list = file_system_.HostPath(command.Dropped);
  if (!list) return kBadCommand;
  return RunProgram(
      {"d", "-bsp1", "-bb0", "-spd", "-scsUTF-8", "-u-", DropInto(rest), archive, "@" + *list}, "/",
      command, output);
}

bool SevenZipLibrary::HoldsAllOf(std::u16string_view old_archive,
                                 std::u16string_view new_archive) const {
  const std::shared_ptr<Archive> before = SevenZipOpenArchive(old_archive),
                                 now = SevenZipOpenArchive(new_archive);
  if (!before || !now) return false;
  std::set<std::u16string_view> names;
  for (const IndividualInfo& entry : now->Entries) names.insert(entry.FileName);
  return std::all_of(before->Entries.begin(), before->Entries.end(),
                     [&](const IndividualInfo& entry) { return names.contains(entry.FileName); });
}

ErrorCode SevenZipLibrary::PutInPlace(std::u16string_view half, std::u16string_view archive,
                                      const ArchiveCommand& command) const {
  Result<File> file = file_system_.OpenForUpdate(half);
  if (!file) return file.Error;
  constexpr int kDone = 100;
  const auto shared = std::make_shared<File>(std::move(*file));
  const DiskWait sync([shared] { return shared->Sync(); });
  while (!sync.Await(std::chrono::milliseconds(kPumpSlice))) {
    if (command.Monitor && !command.Monitor->Working(kDone, {})) return kSyncGivenUp;
  }
  if (sync.Error()) return sync.Error();
  if (const ErrorCode error = RemoveOutdated(command)) return error;
  return file_system_.PutInPlace(half, archive);
}

int SevenZipLibrary::SevenZip(const ArchiveCommand& command, std::u16string& output) const {
  output.clear();
  if (!Present()) return kNoArchiver;
  std::optional<Request> request = Translate(file_system_, command);
  if (!request) return kBadCommand;
  ArchiveCommand sent = command;
  sent.Password = request->Password;
  const bool packs = request->Arguments[0] == "a";
  const std::u16string archive = FromUtf8(request->Arguments[request->Archive]);
  // Whether the archive is new or brought up to date, what comes of it is written under this name:
  // so no half archive ever bears the final one, which a whole one gets when it is on the disk.
  const std::u16string half = archive + std::u16string(kHalfEnding);
  const std::u16string rest = half + std::u16string(kHalfEnding);
  const bool is_new = packs && file_system_.Status(archive).Error != 0;
  const bool drops = packs && !is_new && !command.Dropped.empty();
  if (packs) file_system_.RemoveFile(half);
  if (packs) file_system_.RemoveFile(rest);
  std::string text;
  int code = 0;
  if (is_new) {
    request->Arguments[request->Archive] = ToUtf8(half);
  } else if (packs) {
    if (drops) {
      request->Arguments[request->Archive] = ToUtf8(rest);
      code = DropEntries(sent, ToUtf8(archive), ToUtf8(rest), text);
    }
    request->Arguments.insert(request->Arguments.begin() + 1, {"-u-", UpdateInto(ToUtf8(half))});
  }
  if (code == 0) code = RunProgram(request->Arguments, request->Folder, sent, text);
  // What cannot be opened leaves the archive, with no more than a warning.
  if (packs && !is_new && code == 1 && !HoldsAllOf(drops ? rest : archive, half)) code = 2;
  const bool done = code == 0 || code == 1;
  if (packs && done) {
    const ErrorCode error = PutInPlace(half, archive, command);
    if (error == kSyncGivenUp) {
      code = kCommandCancelled;
    } else if (error) {
      text += SystemFailure(half, error);
      code = 2;
    }
  }
  if (packs && code != 0 && code != 1) file_system_.RemoveFile(half);
  if (drops) file_system_.RemoveFile(rest);
  output = PlainOutput(text).substr(0, command.BufferSize);
  return code;
}

std::shared_ptr<SevenZipLibrary::Archive> SevenZipLibrary::SevenZipOpenArchive(
    std::u16string_view path, ArchiveMonitor* monitor) const {
  const std::optional<std::string> host = file_system_.HostPath(path);
  if (!host) return nullptr;
  std::string text;
  ArchiveCommand silent;
  silent.Monitor = monitor;
  // The program shifts all times by today's distance from UTC, in summer and winter alike.
  const int code = RunProgram({"l", "-slt", "-bd", *host}, "/", silent, text, {"TZ=UTC0"});
  if (code != 0 && code != 1) return nullptr;
  return std::make_shared<Archive>(ReadTechnicalListing(text));
}

Result<std::string> SevenZipLibrary::ReadEntries(std::u16string_view path, std::u16string_view list,
                                                 std::u16string_view password,
                                                 ArchiveMonitor* monitor) const {
  using Content = Result<std::string>;
  const std::optional<std::string> host = file_system_.HostPath(path);
  const std::optional<std::string> host_list = file_system_.HostPath(list);
  if (!host || !host_list) return Content::Fail(2);
  ArchiveCommand silent;
  silent.Monitor = monitor;
  silent.Password = password;
  Content content;
  content.Error = RunProgram(
      {"x", "-so", "-bso0", "-bse0", "-bsp0", "-spd", "-scsUTF-8", *host, "@" + *host_list}, "/",
      silent, *content);
  return content;
}

int SevenZipLibrary::TestEntries(std::u16string_view path, std::u16string_view list,
                                 std::u16string_view password, ArchiveMonitor* monitor) const {
  const std::optional<std::string> host = file_system_.HostPath(path);
  const std::optional<std::string> host_list = file_system_.HostPath(list);
  if (!host || !host_list) return 2;
  ArchiveCommand silent;
  silent.Password = password;
  silent.Monitor = monitor;
  std::string text;
  return RunProgram({"t", "-bsp1", "-spd", "-scsUTF-8", *host, "@" + *host_list}, "/", silent,
                    text);
}

int SevenZipLibrary::TestArchive(std::u16string_view path, std::u16string_view password,
                                 std::u16string& output, ArchiveMonitor* monitor) const {
  output.clear();
  const std::optional<std::string> host = file_system_.HostPath(path);
  if (!host) return 2;
  ArchiveCommand silent;
  silent.Password = password;
  silent.Monitor = monitor;
  std::string text;
  const int code = RunProgram({"t", "-bsp1", "-bb0", "-spd", *host}, "/", silent, text);
  output = PlainOutput(text);
  return code;
}

}  // namespace kavrel
