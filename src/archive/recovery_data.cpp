#include "archive/recovery_data.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <vector>

#include "archive/tool_run.h"
#include "base/text.h"
#include "files/error_text.h"
#include "files/path.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

constexpr std::string_view kPrograms[] = {"par2"};
/// Mebibytes that the program may take; by itself it would take half of what the machine has.
constexpr std::string_view kMemory = "-m512";
/// A disk spoils sectors. Blocks not much larger than these cost more in checksums than they gain,
/// and more blocks than the most cost time; with the fewest a small archive has some to spare.
constexpr std::uint64_t kSmallestBlock = 16384, kFewestBlocks = 20, kMostBlocks = 2000;
/// A bad place may lie across the border of two blocks.
constexpr std::uint64_t kFewestRecovered = 2;

/// The folder that a host path is in, with its final separator.
std::string HostFolder(const std::string& path) {
  const std::u16string text = FromUtf8(path);
  return ToUtf8(PathFolder(text));
}

/// The last percentage in a text: "Processing: 12.3%".
int PercentIn(std::string_view text) {
  const std::size_t sign = text.rfind('%');
  if (sign == text.npos) return 0;
  std::size_t digits = sign;
  while (digits > 0 &&
         (text[digits - 1] == '.' || (text[digits - 1] >= '0' && text[digits - 1] <= '9')))
    --digits;
  int percent = 0;
  std::from_chars(text.data() + digits, text.data() + sign, percent);
  return std::clamp(percent, 0, 100);
}

/// What the program has said at last, but for its progress.
std::u16string LastWords(std::string_view output) {
  std::u16string words;
  const std::u16string text = ReplaceAll(FromUtf8(output), u"\r", u"\n");
  for (const std::u16string_view untrimmed : Split(text, u'\n')) {
    const std::u16string_view line = Trim(untrimmed);
    if (!line.empty() && !line.ends_with(u'%')) words = line;
  }
  return words;
}

/// Runs the program with these arguments in a folder (a host path).
RecoveryEnd RunRecovery(const FileSystem& files, const std::vector<std::string>& arguments,
                        const std::string& folder, std::u16string_view shown,
                        ArchiveMonitor* monitor) {
  RecoveryEnd end;
  const std::string program = FindProgram(kPrograms, ToUtf8(files.ProgramFolder()));
  if (program.empty()) {
    end.Why = kNoRecoveryProgram;
    return end;
  }
  ChildProcess child;
  if (const ErrorCode error = child.Start(program, arguments, folder, {})) {
    end.Why = ApiErrorText(error);
    return end;
  }
  std::string output;
  const ToolEnd how = FollowTool(child, output, [&] {
    constexpr std::size_t kTail = 128;
    const std::size_t from = output.size() > kTail ? output.size() - kTail : 0;
    return !monitor || monitor->Working(PercentIn(std::string_view(output).substr(from)), shown);
  });
  const int code = child.Wait();
  end.Cancelled = how == ToolEnd::Cancelled;
  end.Done = how == ToolEnd::Ended && code == 0;
  if (end.Done || end.Cancelled) return end;
  end.Why = how == ToolEnd::Hung ? u"par2 已有數分鐘沒有任何動作，已將它結束" : LastWords(output);
  // One that was killed, by a lack of memory say, has not said why.
  if (end.Why.empty() || code > 128) end.Why = u"par2 意外結束";
  return end;
}

/// The one file with the recovery blocks. The index beside it has nothing that this one has not.
std::optional<std::u16string> VolumeIn(const Folder& folder) {
  FolderReader reader(folder);
  while (const FolderEntry* entry = reader.Next()) {
    if (entry->Kind == FileKind::File && entry->Name.find(u".vol") != entry->Name.npos) {
      return entry->Name;
    }
  }
  return std::nullopt;
}

}  // namespace

std::u16string RecoveryName(std::u16string_view archive) {
  return std::u16string(archive) += kRecoveryEnding;
}

std::u16string_view RecoveredArchive(std::u16string_view name) {
  if (EndsWithNoCase(name, u".7z.par2")) name.remove_suffix(kRecoveryEnding.size());
  return name;
}

bool RecoveryProgram::Present() const {
  return !FindProgram(kPrograms, ToUtf8(files_.ProgramFolder())).empty();
}

RecoveryEnd RecoveryProgram::Make(std::u16string_view archive, std::uint64_t size, int percent,
                                  std::u16string_view into, ArchiveMonitor* monitor) const {
  const std::optional<std::string> path = files_.HostPath(archive);
  const std::optional<std::string> target = files_.HostPath(JoinPath(into, kRecoveryCopy));
  RecoveryEnd end;
  // The program takes these for patterns.
  const bool pattern = PathName(archive).find_first_of(u"*?") != archive.npos;
  if (!path || !target || pattern) {
    end.Why = ApiErrorText(kErrInvalid);
    return end;
  }
  const std::uint64_t blocks = std::clamp(size / kSmallestBlock, kFewestBlocks, kMostBlocks);
  const std::uint64_t spare =
      std::max((blocks * static_cast<std::uint64_t>(percent) + 99) / 100, kFewestRecovered);
  end = RunRecovery(
      files_,
      {"create", std::string(kMemory), "-b" + std::to_string(blocks), "-c" + std::to_string(spare),
       "-n1", "-B", HostFolder(*path), "-a", *target, "--", *path},
      HostFolder(*target), PathName(archive), monitor);
  if (!end.Done) return end;
  const Result<Folder> made = files_.OpenFolder(into);
  const std::optional<std::u16string> volume = made ? VolumeIn(*made) : std::nullopt;
  const ErrorCode error =
      volume ? made->Rename(*volume, RecoveryName(PathName(archive))) : kErrNotFound;
  if (!error) return end;
  end.Done = false;
  end.Why = ApiErrorText(error);
  return end;
}

RecoveryEnd RecoveryProgram::Repair(std::u16string_view in, ArchiveMonitor* monitor) const {
  const std::optional<std::string> recovery = files_.HostPath(JoinPath(in, kRecoveryCopy));
  const std::optional<std::string> damaged = files_.HostPath(JoinPath(in, kDamagedArchive));
  if (!recovery || !damaged) return {false, false, ApiErrorText(kErrInvalid)};
  const std::string base = HostFolder(*recovery);
  return RunRecovery(files_,
                     {"repair", std::string(kMemory), "-B", base, "--", *recovery, *damaged}, base,
                     {}, monitor);
}

}  // namespace kavrel
