// A differential oracle: random trees, random jobs and random sequences of what happens to them,
// each step compared, entry by entry, with what the plain model of promise.h says must be there.
//
//   KAVREL_ORACLE=SEED         plays the sequence of this seed and tells each step
//   KAVREL_ORACLE_TIME=SECONDS plays so long, beginning with a seed that nobody has chosen
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <random>

#include "faults/promise.h"
#include "support/variable.h"

namespace fs = std::filesystem;

namespace kavrel::faults {
namespace {

constexpr std::int64_t kDay = 86'400;

struct PlayedJob {
  std::string Name, Password;
  Promise Promised;
  fs::path Dest;
  bool Dated = false;
  std::size_t Keep = 0;
  std::vector<std::string> Made;  ///< by whole runs, the newest last
  bool Marred = false;            ///< a run has failed or was killed

  bool Packs() const { return Promised.Type == "compressed"; }
};

/// What a killed run has left is not there for the next one.
Tree Healed(Tree tree) {
  std::erase_if(tree, [](const auto& item) {
    return IsStaged(item.first) || item.first.ends_with(".7z.tmp");
  });
  return tree;
}

class Play {
 public:
  Play(unsigned seed, bool tells) : random_(seed), tells_(tells) {
    fs::create_directories(source_);
    WriteTestFile(temp_.Home() / "Exc.txt", "# no rules\r\n");
    Command({"rules", "add", "--name", "R", "--folder", "skip\\"});
    Command({"rules", "add", "--name", "R", "--file", "*.bak"});
    rules_ = Below(4) == 0;
    Command({"settings", "set", "ExcEnabled", rules_ ? "True" : "False"});
    now_ = (time(nullptr) / kDay + 1) * kDay + 36'000;
    for (std::size_t i = 1 + Below(3); i > 0; --i) AddJob();
    for (std::size_t i = Below(40); i > 0; --i) Change(source_);
  }
  ~Play() { RunCommand({"/bin/chmod", "-R", "u+rwX", temp_.Root()}); }

  /// Plays to the end; what went wrong, empty when nothing did.
  std::string Run() {
    for (std::size_t step = 4 + Below(8); step > 0 && wrongs_.empty(); --step) Step();
    return wrongs_.empty() ? wrongs_ : story_ + wrongs_;
  }
  std::size_t Steps() const { return steps_; }

 private:
  std::size_t Below(std::size_t limit) { return random_() % limit; }
  template <typename T>
  const T& OneOf(const std::vector<T>& list) {
    return list[Below(list.size())];
  }

  void Tell(const std::string& what) {
    story_ += what + "\n";
    if (tells_) std::cout << what << std::endl;
  }
  void Wrong(const std::string& what) {
    if (what.empty()) return;
    wrongs_ += what + (what.ends_with('\n') ? "" : "\n");
    if (tells_) std::cout << what << std::endl;
  }

  CommandResult Command(std::vector<std::string> arguments, const Fault* fault = nullptr,
                        const std::string& input = {}) {
    const EnvironmentVariable clock("KAVREL_CLOCK", std::to_string(now_));
    arguments.insert(arguments.begin(), {KAVRELCTL, "--home", temp_.Home()});
    CommandResult result;
    struck_ = fault && RunWithFault(arguments, *fault, temp_.Root() / "state", result);
    return fault ? result : RunToItsEnd(arguments, input);
  }

  std::string Stamp(const char* format) const {
    char text[64];
    tm parts{};
    gmtime_r(&now_, &parts);
    strftime(text, sizeof text, format, &parts);
    return text;
  }

  void AddJob();
  void Change(const fs::path& root);
  /// `root`: the folder in which it may become one more name of a file.
  void ChangeEntry(const fs::path& path, const fs::path& root);
  bool IsInner(const fs::path& path) const;
  void Step();
  void Backup(PlayedJob& job, std::size_t how);
  void Pack(PlayedJob& job, std::size_t how);
  void Restore(PlayedJob& job);
  void Verify(PlayedJob& job);

  Tree Source(const Promise& job) const;
  Tree Unpack(const fs::path& archive, const std::string& password);
  CommandResult RunJob(const PlayedJob& job, std::size_t how);
  void JudgeKept(PlayedJob& job, const std::string& unit, bool whole, const Tree& before,
                 const Tree& after);
  /// `shares`: what is not in the folder may be taken from the state before, as unchanged.
  void JudgeFigures(const CommandResult& result, const Outlook& outlook, bool restore,
                    bool shares = false);
  bool InBin(const Entry& entry) const;

  std::mt19937 random_;
  const bool tells_;
  TempFolder temp_;
  const EnvironmentVariable data_{"XDG_DATA_HOME", temp_.Root() / "data"}, zone_{"TZ", "UTC0"};
  const fs::path source_ = temp_.DriveC() / "src";
  time_t now_ = 0;
  bool rules_ = false, struck_ = false;
  std::vector<PlayedJob> jobs_;
  std::string story_, wrongs_;
  std::size_t steps_ = 0;
};

void Play::AddJob() {
  PlayedJob job;
  job.Name = "J" + std::to_string(jobs_.size());
  Promise& promised = job.Promised;
  promised.Type = OneOf<std::string>({"full", "differential", "sync", "sync", "compressed"});
  promised.Rules = rules_ && !job.Packs();
  job.Dest = temp_.DriveD() / job.Name;
  if (!job.Packs() && Below(8) == 0) {
    promised.Inner = job.Name;
    job.Dest = source_ / job.Name;
    fs::create_directories(job.Dest);
  } else if (!job.Packs() && Below(3) == 0) {
    job.Dated = true;
  }
  std::string dest = job.Dest;
  if (job.Dated) dest += "/<yyyy>-<mm>-<dd>";
  std::vector<std::string> add{"add",    "--name", job.Name,   "--type", promised.Type,
                               "--dest", dest,     "--source", source_,  "--no-source-folder"};
  const auto option = [&](const std::string& name, const std::string& value = {}) {
    add.push_back(name);
    if (!value.empty()) add.push_back(value);
  };
  if ((job.Dated || job.Packs()) && Below(2)) {
    job.Keep = 1 + Below(3);
    option("--keep", std::to_string(job.Keep));
  }
  if (promised.Type == "sync" && Below(2)) {
    promised.Recycle = true;
    option("--recycle");
  }
  if (Below(4) == 0) {
    promised.Endings = {".txt", ".dat"};
    option("--types", "*.txt;*.dat");
    promised.ExcludeTypes = Below(2);
    if (promised.ExcludeTypes) option("--exclude-types");
  }
  if (Below(4) == 0) {
    promised.MostKB = 2;
    option("--max-size-kb", "2");
  }
  if (!job.Packs() && Below(6) == 0) {
    promised.Subfolders = false;
    option("--no-subfolders");
  }
  if (job.Packs() && Below(3) == 0) {
    job.Password = "備 p4\"'";
    option("--password-stdin");
  }
  std::string text;
  for (const std::string& word : add) text += word + " ";
  Tell(text);
  if (Command(add, nullptr, job.Password + "\n").ExitCode != 0) Wrong("the job was refused");
  jobs_.push_back(job);
}

/// Whether it lies in a destination that lies in the source.
bool Play::IsInner(const fs::path& path) const {
  const fs::path inner = path.lexically_relative(source_);
  return std::any_of(jobs_.begin(), jobs_.end(), [&](const PlayedJob& job) {
    return !job.Promised.Inner.empty() && *inner.begin() == job.Promised.Inner;
  });
}

/// Something happens somewhere below the folder.
void Play::Change(const fs::path& root) {
  std::error_code error;
  std::vector<fs::path> folders{root};
  for (const auto& item : fs::recursive_directory_iterator(
           root, fs::directory_options::skip_permission_denied, error)) {
    if (item.is_directory(error) && !item.is_symlink(error)) folders.push_back(item.path());
  }
  const fs::path folder = OneOf(folders);
  if (IsInner(folder)) return;
  static const std::vector<std::string> kNames{
      "a",    "b",    "A",       "x.txt", "y.TXT", "z.dat",     "w.bak", "V.BAK",
      "skip", "d",    "e.d",     "é",     "備份",  "e\xCC\x81", " sp ",  "-rf",
      "[x]",  "n\nl", "bad\xFF", "\"q\"", "i\"i",  ".hid"};
  struct stat found {};
  lstat(folder.c_str(), &found);
  const bool closed = (found.st_mode & 0700) != 0700;
  if (closed) chmod(folder.c_str(), (found.st_mode & 07777) | 0700);
  ChangeEntry(folder / OneOf(kNames), root);
  if (closed) chmod(folder.c_str(), found.st_mode & 07777);
}

void Play::ChangeEntry(const fs::path& path, const fs::path& root) {
  std::error_code error;
  const auto write = [&](std::size_t length, bool hollow = false) {
    if (fs::is_directory(fs::symlink_status(path, error))) return;
    fs::remove(path, error);
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    const std::string bytes(length, static_cast<char>('a' + Below(26)));
    if (hollow) lseek(file, 700'000, SEEK_SET);
    if (::write(file, bytes.data(), bytes.size()) < 0) Tell("not written");
    close(file);
  };
  const auto time = [&] {
    static const std::vector<std::int64_t> kTimes{
        1'700'000'000, 1'700'000'001, 1'700'000'002, 1'700'006'399, 1'700'006'400, 1'600'000'000, 1,
        4'000'000'000};
    SetWritten(path, {OneOf(kTimes), static_cast<std::int32_t>(Below(1'000'000'000))});
  };
  const bool there = fs::exists(fs::symlink_status(path, error));
  const auto link = [&] {
    std::vector<fs::path> files;
    for (const auto& item : fs::recursive_directory_iterator(
             root, fs::directory_options::skip_permission_denied, error)) {
      if (item.is_regular_file(error) && !item.is_symlink(error) && !IsInner(item.path())) {
        files.push_back(item.path());
      }
    }
    if (files.empty() || fs::is_directory(fs::symlink_status(path, error))) return;
    fs::remove(path, error);
    fs::create_hard_link(OneOf(files), path, error);
  };
  switch (Below(there ? 19 : 12)) {
    case 0:
    case 1:
    case 2:
    case 3:
      write(Below(40));
      return time();
    case 4:
      write(OneOf<std::size_t>({0, 2048, 2049, 131'072, 1'300'000}), Below(4) == 0);
      return time();
    case 5:
    case 6:
      if (!there) fs::create_directory(path, error);
      return;
    case 7:
      if (there && fs::is_directory(fs::symlink_status(path, error))) return;
      fs::remove(path, error);
      fs::create_symlink(OneOf<std::string>({"a", "b", "../a", "..", "/etc/passwd", "../../../x"}),
                         path, error);
      return time();
    case 8:
      if (!there) mkfifo(path.c_str(), 0644);
      return;
    case 9:
    case 10:
      return link();
    case 11:
      // The same once more, and no longer the same file.
      if (fs::is_regular_file(fs::symlink_status(path, error)) &&
          RunCommand({"/bin/cp", "-p", path, temp_.Root() / "apart"}).ExitCode == 0) {
        fs::rename(temp_.Root() / "apart", path, error);
      }
      return;
    case 12:
    case 13:
      RunCommand({"/bin/chmod", "-R", "u+rwX", path});
      fs::remove_all(path, error);
      return;
    case 14:
      // Its kind changes.
      RunCommand({"/bin/chmod", "-R", "u+rwX", path});
      if (fs::is_directory(fs::symlink_status(path, error))) {
        fs::remove_all(path, error);
        return write(10);
      }
      fs::remove(path, error);
      fs::create_directory(path, error);
      return ChangeEntry(path / "x.txt", root);
    case 15: {
      static const std::vector<unsigned> kModes{0644, 0600, 0444, 0400, 0755, 0777, 0500, 0},
          kOfFolders{0755, 0777, 0700, 0500, 0};
      const bool folder = fs::is_directory(fs::symlink_status(path, error));
      if (!fs::is_symlink(path)) chmod(path.c_str(), OneOf(folder ? kOfFolders : kModes));
      return;
    }
    case 16:
      lsetxattr(path.c_str(), "user.k", "value", 1 + Below(5), 0);
      return;
    case 17:
      if (lchown(path.c_str(), 1000, 65534) != 0) return time();
      return;
    default:
      return fs::rename(path, path.parent_path() / "r.txt", error);
  }
}

void Play::Step() {
  ++steps_;
  // What this user may not change lies in the bin as it was.
  RunCommand({"/bin/chmod", "-R", "u+rwX", temp_.Root() / "data"});
  fs::remove_all(temp_.Root() / "data");
  now_ += OneOf<time_t>({0, 60, 3'600, kDay, kDay});
  for (std::size_t i = Below(12); i > 0; --i) Change(source_);
  PlayedJob& job = jobs_[Below(jobs_.size())];
  if (!job.Packs() && fs::exists(job.Dest)) {
    for (std::size_t i = Below(2) * Below(4); i > 0; --i) Change(job.Dest);
  }
  const std::size_t how = Below(20);
  if (how < 14) {
    job.Packs() ? Pack(job, how) : Backup(job, how);
  } else if (how < 18) {
    Restore(job);
  } else {
    Verify(job);
  }
}

/// The source as the job may see it.
Tree Play::Source(const Promise& job) const {
  Tree tree = ReadWhole(source_);
  if (job.Inner.empty()) return tree;
  std::erase_if(tree, [&](const auto& item) { return item.first.starts_with(job.Inner + "/"); });
  tree[job.Inner].Written = 0;
  return tree;
}

/// Undisturbed, or with a call that fails or at which it is killed.
CommandResult Play::RunJob(const PlayedJob& job, std::size_t how) {
  const std::vector<std::string> run{"run", job.Name, "--force"};
  if (how < 9) {
    Tell("run " + job.Name + Stamp(" on %F at %T"));
    return Command(run);
  }
  static const std::vector<std::string> kKinds{"open",   "stat",   "read", "list",       "write",
                                               "copy",   "rename", "make", "attributes", "close",
                                               "unlink", "sync",   "seek", "link"};
  const bool kills = how < 12;
  const Fault fault{kills ? "any" : OneOf(kKinds), 1 + Below(kills ? 1000 : 60),
                    kills ? "kill" : std::to_string(EIO)};
  Tell("run " + job.Name + Stamp(" on %F at %T with ") + fault.Text());
  return Command(run, &fault);
}

void Play::JudgeFigures(const CommandResult& result, const Outlook& outlook, bool restore,
                        bool shares) {
  const long copied = Figure(result.Output, restore ? "已完成還原檔案總計：" : kCopied);
  const long failed = Figure(result.Output, restore ? "已還原失敗檔案總計：" : kFailed);
  const int code = failed > 0 ? 1 : 0;
  // A name of a file that may not be read can become one more of a copy that is there; and a copy
  // of several names is not set right in place.
  const long vague = static_cast<long>(outlook.Vague.size());
  const long shared = shares ? Figure(result.Output, kUnchanged) : 0;
  if (copied + shared >= outlook.Copied && copied <= outlook.Copied + outlook.MayCopy + vague &&
      failed <= outlook.Failed + vague && failed >= outlook.Failed - vague &&
      result.ExitCode == code) {
    return;
  }
  Wrong("told exit code " + std::to_string(result.ExitCode) + ", wanted " +
        std::to_string(outlook.Copied) + " copied, " + std::to_string(outlook.Failed) +
        " failed\n" + result.Output + result.Errors);
}

bool Play::InBin(const Entry& entry) const {
  for (const auto& [path, binned] : ReadTree(temp_.Root() / "data" / "Trash" / "files")) {
    if (binned.SameContent(entry)) return true;
  }
  return false;
}

/// What else lies beside the unit of this run: only old backups go, and only to the bin; the newest
/// whole ones stay. A job that was never disturbed keeps no more than these.
void Play::JudgeKept(PlayedJob& job, const std::string& unit, bool whole, const Tree& before,
                     const Tree& after) {
  job.Marred = job.Marred || struck_ || !whole;
  if (whole) std::erase(job.Made, unit);
  if (whole) job.Made.push_back(unit);
  const std::size_t keep = whole && job.Keep > 0 ? job.Keep : job.Made.size();
  const std::set<std::string> newest(
      job.Made.end() - static_cast<std::ptrdiff_t>(std::min(keep, job.Made.size())),
      job.Made.end());
  for (const auto& [path, entry] : before) {
    const std::string other = path.substr(0, path.find('/'));
    if (other.empty() || other == unit) continue;
    const auto now = after.find(path);
    if (now != after.end()) {
      if (now->second != entry) Wrong(path + " of another backup has changed");
      const bool made = std::find(job.Made.begin(), job.Made.end(), other) != job.Made.end();
      if (made && !newest.contains(other) && !job.Marred) Wrong(path + " was to go");
    } else if (!whole || job.Keep == 0 || newest.contains(other)) {
      Wrong(path + " of another backup is gone");
    } else if (entry.Kind != 'D' && !InBin(entry)) {
      Wrong(path + " is not in the bin");
    }
  }
  std::erase_if(job.Made, [&](const std::string& one) { return !after.contains(one); });
}

void Play::Backup(PlayedJob& job, std::size_t how) {
  const std::string unit = job.Dated ? Stamp("%F") : std::string();
  const Tree from = Source(job.Promised), all = Healed(ReadWhole(job.Dest));
  const Tree before = faults::Below(all, unit);
  Outlook outlook = Foresee(job.Promised, from, before);
  const CommandResult result = RunJob(job, how);
  // What a fault has kept from being linked is copied.
  if (struck_) outlook.Taken.clear();
  const Tree all_now = ReadWhole(job.Dest), now = faults::Below(all_now, unit);
  for (const auto& [path, entry] : Source(job.Promised)) {
    if (!from.contains(path) || from.at(path) != entry) Wrong("the source has changed: " + path);
  }
  if (job.Promised.Recycle) {
    for (const std::string& path : outlook.Removed) {
      if (!now.contains(path) && !InBin(before.at(path))) Wrong(path + " is not in the bin");
    }
  }
  const bool whole = outlook.Failed == 0 && (!struck_ || Differences(outlook, now).empty());
  if (job.Dated) JudgeKept(job, unit, whole, all, all_now);
  if (struck_) {
    Outlook wide = outlook;
    if (job.Promised.Rules && result.ExitCode != 0) {
      // Rules that could not be read are told, and leave nothing out.
      Promise all_of_it = job.Promised;
      all_of_it.Rules = false;
      wide.Wanted.merge(Foresee(all_of_it, from, before).Wanted);
    }
    Wrong(Losses(before, wide, now));
    // A warning tells of times and permissions that could not be set.
    if (Figure(result.Output, "警告檔案總計　　　：") > 0) {
      for (const auto& [path, entry] : outlook.Wanted) outlook.Loose.insert(path);
    }
    if (result.ExitCode == 0) Wrong(Differences(outlook, now));
    if (wrongs_.empty()) Backup(job, 0);
    return;
  }
  Wrong(Differences(outlook, now));
  // What an interrupted run has left is taken up by jobs of any type.
  const bool left = std::any_of(
      all.begin(), all.end(), [](const auto& item) { return item.first.ends_with(".unfinished"); });
  JudgeFigures(result, outlook, false, job.Dated && (left || job.Promised.Type != "full"));
}

/// The files and links of an archive.
Tree Play::Unpack(const fs::path& archive, const std::string& password) {
  std::string wrongs;
  Tree tree = ReadArchive(archive, temp_.Root() / "unpacked", password, wrongs);
  Wrong(wrongs);
  return tree;
}

void Play::Pack(PlayedJob& job, std::size_t how) {
  const std::string unit = Stamp("%Y年%m月%d日%H時.7z");
  const Tree from = Source(job.Promised), all = Healed(ReadWhole(job.Dest));
  const Tree before = Unpack(job.Dest / unit, job.Password);
  const Outlook outlook = ForeseePacked(job.Promised, from, before);
  const CommandResult result = RunJob(job, how);
  const Tree all_now = ReadWhole(job.Dest), now = Unpack(job.Dest / unit, job.Password);
  if (outlook.Copied + outlook.Failed == 0) return;
  const bool whole = outlook.Failed == 0 && (!struck_ || Differences(outlook, now).empty());
  JudgeKept(job, unit, whole, all, all_now);
  if (struck_) {
    // The archive is the one of before or the new one, as a whole.
    if (now != before && !Differences(outlook, now).empty()) Wrong(Losses(before, outlook, now));
    if (wrongs_.empty()) Pack(job, 0);
    return;
  }
  Wrong(Differences(outlook, now));
  JudgeFigures(result, outlook, false);
}

void Play::Restore(PlayedJob& job) {
  std::vector<std::string> command{"restore", job.Name};
  const bool packs = job.Packs();
  fs::path origin = job.Dest, target = source_;
  if (job.Dated) origin /= Stamp("%F");
  Tree from;
  if (packs) {
    if (job.Made.empty()) return;
    const std::string archive = *std::max_element(job.Made.begin(), job.Made.end());
    command.insert(command.end(), {"--archive", archive});
    from = Unpack(origin / archive, job.Password);
  } else {
    if (!fs::exists(origin) || !job.Promised.Inner.empty()) return;
    from = ReadWhole(origin);
  }
  std::vector<std::string> picked;
  Promise promised;
  promised.Subfolders = job.Promised.Subfolders;
  if (!packs && Below(2)) {
    promised.KeepNewer = Below(2);
    for (const auto& [path, entry] : from) {
      if (Below(4) == 0 && !path.empty() && path.find('\xFF') == path.npos) picked.push_back(path);
    }
    if (picked.empty()) return;
    for (const std::string& path : picked) command.push_back("--only=" + path);
    if (!promised.KeepNewer) command.emplace_back("--replace-newer");
    if (Below(2)) {
      target = temp_.Root() / "elsewhere";
      command.insert(command.end(), {"--to", target});
    }
  } else if (!packs && Below(2)) {
    promised.Type = "differential";
    promised.Restores = true;
    command.insert(command.end(), {"--mode", "incremental"});
  }
  const Tree before = ReadWhole(target);
  const Outlook outlook = packs            ? ForeseeUnpacked(from, before)
                          : picked.empty() ? Foresee(promised, from, before)
                                           : ForeseePicked(promised, from, before, picked);
  std::string text;
  for (const std::string& word : command) text += word + " ";
  Tell(text);
  const CommandResult result = Command(command);
  Wrong(Differences(outlook, ReadWhole(target)));
  JudgeFigures(result, outlook, true);
}

/// A byte of the backup turns; a verification has to find it, and nothing else.
void Play::Verify(PlayedJob& job) {
  if (job.Packs() || job.Dated) return;
  Backup(job, 0);
  const Tree from = Source(job.Promised), backup = ReadWhole(job.Dest);
  const Outlook outlook = Foresee(job.Promised, from, backup);
  if (outlook.Failed > 0 || !wrongs_.empty()) return;
  bool differs = false;
  std::vector<std::string> same;
  for (const std::string& path : outlook.Left) {
    if (from.at(path).Bytes != backup.at(path).Bytes)
      differs = true;
    else if (from.at(path).Kind == 'F' && !from.at(path).Bytes.empty())
      same.push_back(path);
  }
  if (job.Promised.Type == "full" || job.Promised.MostKB > 0) return;
  const auto judge = [&] {
    Tell("verify " + job.Name);
    const CommandResult result = Command({"verify", job.Name});
    if (result.ExitCode != (differs ? 1 : 0)) Wrong("the verification: " + result.Output);
  };
  judge();
  if (same.empty()) return;
  const fs::path path = job.Dest / OneOf(same);
  struct stat found {};
  stat(path.c_str(), &found);
  chmod(path.c_str(), 0600);
  const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
  const auto at = static_cast<off_t>(Below(static_cast<std::size_t>(found.st_size)));
  char byte = 0;
  // A restore may have brought an earlier one to the source.
  if (pread(file, &byte, 1, at) == 1 && pwrite(file, byte == '#' ? "%" : "#", 1, at) == 1) {
    differs = true;
  }
  close(file);
  chmod(path.c_str(), found.st_mode & 07777);
  SetWritten(path, {found.st_mtim.tv_sec, static_cast<std::int32_t>(found.st_mtim.tv_nsec)});
  judge();
}

TEST(Oracle, WhatRunsAndRestoresLeaveIsWhatTheirJobsPromise) {
  const char* const one = getenv("KAVREL_ORACLE");
  const char* const seconds = getenv("KAVREL_ORACLE_TIME");
  const unsigned first = one       ? static_cast<unsigned>(std::atol(one))
                         : seconds ? std::random_device()()
                                   : 1;
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::seconds(seconds ? std::atol(seconds) : 0);
  const std::size_t least = one || seconds ? 1 : SweepStep(0) == 1 ? 200 : 15;
  std::size_t steps = 0, wrong = 0, played = 0;
  for (unsigned seed = first; played < least || (seconds && Clock::now() < end); ++seed, ++played) {
    Play play(seed, one != nullptr);
    const std::string wrongs = play.Run();
    steps += play.Steps();
    if (wrongs.empty()) continue;
    ADD_FAILURE() << "KAVREL_ORACLE=" << seed << "\n" << wrongs;
    if (++wrong == 10) break;
  }
  Count("random steps foreseen", steps);
  Count("losses and untruths", wrong);
}

}  // namespace
}  // namespace kavrel::faults
