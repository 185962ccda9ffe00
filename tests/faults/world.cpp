#include "faults/world.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>

#include "base/text.h"
#include "files/owner_mark.h"
#include "log/job_log.h"

namespace fs = std::filesystem;

namespace kavrel::faults {

const Scenario kScenarios[] = {
    {"Full", {"--type", "full"}, {"run", "J"}},
    {"Differential", {"--type", "differential"}, {"run", "J"}},
    {"Mirror", {"--type", "sync", "--adopt"}, {"run", "J"}},
    {"MirrorWithBin", {"--type", "sync", "--adopt", "--recycle"}, {"run", "J"}},
    {"Compressed", {"--type", "compressed"}, {"run", "J"}},
    {"Restore", {"--type", "full"}, {"restore", "J"}, true},
    {"RestoreArchive", {"--type", "compressed"}, {"restore", "J"}, true},
    {"StoreSave", {"--type", "full"}, {"edit", "J", "--name", "J2"}},
    {"RulesSave", {"--type", "full"}, {"rules", "add", "--name", "R", "--file", "*.q"}},
    {"FiltersSave", {"--type", "full"}, {"filters", "add", "F", "*.q"}},
    {"SettingsSave", {"--type", "full"}, {"settings", "set", "LogRestrictions", "2"}},
};
const std::size_t kScenarioCount = std::size(kScenarios);

namespace {

constexpr FileTime kOld{1'700'000'000, 123'000'000}, kNew{1'710'000'000, 456'000'000};
constexpr const char* kKept[] = {"Backup.rtm", "Exc.txt", "FileType.txt", "Settings.ini",
                                 "Log/QVDlog.log"};
constexpr std::string_view kMissing = "<missing>";

/// The newest first.
std::string ReadJobLogs(const TempFolder& temp, const fs::path& home) {
  std::multimap<fs::file_time_type, fs::path, std::greater<>> logs;
  for (const auto& item : fs::directory_iterator(home / "Log")) {
    if (item.path().extension() == ".txt") logs.emplace(item.last_write_time(), item.path());
  }
  std::string all;
  for (const auto& [written, path] : logs) {
    all += ToUtf8(*ReadJobLog(temp.Files(), TempFolder::Text(path)));
  }
  return all;
}

void Put(const fs::path& path, const std::string& bytes, FileTime time) {
  WriteTestFile(path, bytes);
  SetWritten(path, time);
}

}  // namespace

bool IsStaged(const std::string& path) {
  for (const fs::path& part : fs::path(path)) {
    if (part.string().starts_with("pt") && part.string().ends_with(".tmp")) return true;
  }
  return false;
}

long Figure(const std::string& text, const std::string& label) {
  const std::size_t at = text.find(label);
  return at == std::string::npos ? -1 : std::atol(text.c_str() + at + label.size());
}

CommandResult RealJob::Command(std::vector<std::string> arguments) const {
  std::vector<std::string> command = StartedBy;
  command.insert(command.end(), {KAVRELCTL, "--home", Home});
  command.insert(command.end(), arguments.begin(), arguments.end());
  return RunCommand(command);
}

void RealJob::Make(const std::string& type) const {
  Command({"remove", "J"});
  EXPECT_EQ(Command({"add", "--name", "J", "--type", type, "--source", Source, "--dest", Dest,
                     "--no-source-folder"})
                .ExitCode,
            0);
}

std::string RealJob::Log() const {
  return ReadJobLogs(Temp, Home);
}

Entry ReadEntry(const fs::path& path) {
  struct stat found {};
  lstat(path.c_str(), &found);
  Entry entry;
  entry.Written = found.st_mtim.tv_sec * 1'000'000'000 + found.st_mtim.tv_nsec;
  entry.Mode = found.st_mode & 07777;
  entry.File = found.st_ino;
  entry.Names = found.st_nlink;
  entry.Owner = std::to_string(found.st_uid) + ":" + std::to_string(found.st_gid);
  if (S_ISLNK(found.st_mode)) {
    entry.Kind = 'L';
    entry.Bytes = fs::read_symlink(path).string();
    return entry;
  }
  entry.Kind = S_ISDIR(found.st_mode) ? 'D' : S_ISREG(found.st_mode) ? 'F' : 'S';
  if (entry.Kind == 'F') {
    // Of what this user may not read the size is known.
    const bool may = access(path.c_str(), R_OK) == 0;
    entry.Bytes =
        may ? ReadTestFile(path) : std::string(static_cast<std::size_t>(found.st_size), '?');
  }
  char names[1024], value[1024];
  const ssize_t length = llistxattr(path.c_str(), names, sizeof names);
  for (const char* name = names; name < names + length; name += strlen(name) + 1) {
    // A backup's own remark is no part of it.
    if (std::string_view(name) == "user.kavrel.owner") continue;
    const ssize_t size = lgetxattr(path.c_str(), name, value, sizeof value);
    if (strncmp(name, "user.", 5) != 0 || size < 0) continue;
    entry.Owner +=
        std::string(" ") + name + "=" + std::string(value, static_cast<std::size_t>(size));
  }
  return entry;
}

Tree ReadTree(const fs::path& root) {
  Tree tree;
  if (!fs::exists(root)) return tree;
  constexpr auto kSkip = fs::directory_options::skip_permission_denied;
  for (const auto& item : fs::recursive_directory_iterator(root, kSkip)) {
    // A backup's mark where there was no place for a remark, and its list of sums.
    if (item.path().parent_path() == root &&
        IsBackupsOwn(FromUtf8(item.path().filename().string()))) {
      continue;
    }
    tree[item.path().lexically_relative(root).string()] = ReadEntry(item.path());
  }
  return tree;
}

Tree ReadArchive(const fs::path& archive, const fs::path& place, const std::string& password,
                 std::string& wrongs) {
  if (!fs::exists(archive)) return {};
  const mode_t mask = umask(0);
  // Links that lead out as well, which newer versions spell otherwise.
  constexpr int kBadCommandLine = 7;
  CommandResult result;
  for (const char* links : {"-snld20", "-snld"}) {
    result = RunCommand(
        {"/usr/bin/7zz", "x", "-y", links, "-p" + password, "-o" + place.string(), archive});
    if (result.ExitCode != kBadCommandLine) break;
  }
  if (result.ExitCode != 0) wrongs += "a broken archive: " + result.Output + result.Errors;
  Tree tree = ReadTree(place);
  std::erase_if(tree, [](const auto& item) { return item.second.Kind == 'D'; });
  for (auto& [path, entry] : tree) {
    entry.Owner.clear();
    // Absolute links are bent into the folder.
    if (entry.Bytes.starts_with(place.string())) entry.Bytes.erase(0, place.string().size());
    entry.Written -= (entry.Written % 100 + 100) % 100;
  }
  umask(mask);
  RunCommand({"/bin/chmod", "-R", "u+rwX", place});
  fs::remove_all(place);
  return tree;
}

World::World(const Scenario& scenario, int more_files)
    : scenario_(scenario), more_files_(more_files), state_(temp_.Root() / "state") {
  const fs::path source = temp_.DriveC() / "src", dest = temp_.DriveD() / "dst";
  origin_ = scenario.Restore ? dest : source;
  target_ = scenario.Restore ? source : dest;
  setenv("XDG_DATA_HOME", (temp_.Root() / "data").c_str(), 1);
  setenv("TZ", "UTC0", 1);
  BuildTrees();
  std::vector<std::string> add{KAVRELCTL, "--home", temp_.Home(),        "add",
                               "--name",  "J",      "--source",          source,
                               "--dest",  dest,     "--no-source-folder"};
  add.insert(add.end(), scenario.Job.begin(), scenario.Job.end());
  EXPECT_EQ(RunCommand(add).ExitCode, 0);
  for (const char* setting : {"ExcEnabled", "PlaySound"}) {
    EXPECT_EQ(RunCommand({KAVRELCTL, "--home", temp_.Home(), "settings", "set", setting, "False"})
                  .ExitCode,
              0);
  }
  Run();
  EXPECT_EQ(Result.ExitCode, 0) << Result.Output << Result.Errors;
  // From here on, a store and a log that hold something already; for a compressed job also an
  // archive of this hour, which the next run brings up to date.
  for (const char* name : kKept) kept_[name] = ReadTestFile(temp_.Home() / name);
  if (scenario.Command[0] == "edit") {
    EXPECT_EQ(RunCommand({KAVRELCTL, "--home", temp_.Home(), "edit", "J2", "--name", "J"}).ExitCode,
              0);
    kept_["Backup.rtm"] = ReadTestFile(temp_.Home() / "Backup.rtm");
  }
  for (const char* verb : {"rules", "filters"}) {
    if (scenario.Command[0] != verb) continue;
    const bool rules = verb == std::string("rules");
    (rules ? new_rules_ : new_filters_) = kept_[rules ? "Exc.txt" : "FileType.txt"];
    const std::string remove = rules ? "1" : "F";
    std::string& file = kept_[rules ? "Exc.txt" : "FileType.txt"];
    EXPECT_EQ(RunCommand({KAVRELCTL, "--home", temp_.Home(), verb, "remove", remove}).ExitCode, 0);
    file = ReadTestFile(temp_.Home() / (rules ? "Exc.txt" : "FileType.txt"));
  }
  Reset();
  Run();
  EXPECT_EQ(Result.ExitCode, 0) << Result.Output << Result.Errors;
  new_rules_ = ReadTestFile(temp_.Home() / "Exc.txt");
  new_filters_ = ReadTestFile(temp_.Home() / "FileType.txt");
  target_after_ = ReadTree(target_);
  for (const auto& [path, entry] : origin_before_) {
    if (scenario.Job[1] == "compressed" || scenario.Command.size() > 2) break;
    EXPECT_TRUE(target_after_[path].SameContent(entry)) << path;
  }
}

void World::BuildTrees() const {
  for (const fs::path& root : {origin_, target_}) {
    const bool is_new = root == origin_;
    const std::string version = is_new ? "new " : "old ";
    const FileTime time = is_new ? kNew : kOld;
    Put(root / "a.txt", version + "a", time);
    Put(root / "sub" / "big.bin", version + std::string(300'000, is_new ? 'n' : 'o'), time);
    Put(root / "sub" / "read-only", version, time);
    chmod((root / "sub" / "read-only").c_str(), 0444);
    Put(root / "emptied", is_new ? "" : "was full", time);
    Put(root / "same", "same", kNew);
    fs::create_symlink(version, root / "link");
    SetWritten(root / "link", time);
    Put(root / "same too", "same", kNew);
    Put(root / "sub" / "linked", version + "a", time);
    Put(root / "apart", "apart", kNew);
    Put(root / "apart too", "apart", kNew);
    // Names that have become one file since the last run, and names that are none any more.
    for (const auto& [name, other] :
         {std::pair("same", "same too"), std::pair("a.txt", "sub/linked"),
          std::pair("apart", "apart too")}) {
      if (is_new == (name == std::string("apart"))) continue;
      fs::remove(root / other);
      fs::create_hard_link(root / name, root / other);
    }
    Put(root / (is_new ? "fresh/x" : "gone/x"), version + "x", time);
    Put(root / (is_new ? "fresh.txt" : "gone.txt"), version + "only", time);
    for (int i = 0; i < more_files_; ++i) {
      Put(root / ("more" + std::to_string(i % 7)) / std::to_string(i),
          version + std::to_string(i) + std::string(static_cast<std::size_t>(i) * 97, 'm'), time);
    }
  }
  if (!scenario_.Restore || scenario_.Job[1] != "compressed") return;
  const fs::path packed = temp_.Root() / "packed.7z";
  if (!fs::exists(packed)) {
    EXPECT_EQ(RunCommand({"/usr/bin/7zz", "a", "-snl", packed, origin_ / "*"}).ExitCode, 0);
  }
  fs::remove_all(origin_);
  fs::create_directories(origin_);
  fs::copy_file(packed, origin_ / "2024年01月01日01時.7z");
}

void World::Reset() {
  for (const fs::path& path : {origin_, target_, temp_.Home() / "Log", temp_.Root() / "data"}) {
    fs::remove_all(path);
  }
  for (const auto& item : fs::directory_iterator(temp_.Home())) {
    if (item.path().filename() != "drives") fs::remove_all(item.path());
  }
  BuildTrees();
  for (const auto& [name, bytes] : kept_) {
    if (bytes != kMissing) WriteTestFile(temp_.Home() / name, bytes);
  }
  for (const char* folder : {"files", "info"}) {
    fs::create_directories(temp_.Root() / "data" / "Trash" / folder);
  }
  origin_before_ = ReadTree(origin_);
  target_before_ = ReadTree(target_);
}

CommandResult RunToItsEnd(const std::vector<std::string>& command, const std::string& input) {
  // Loaded without a fault, too: it ends what hangs.
  setenv("LD_PRELOAD", FAULT_INJECTOR, 1);
  // Of a program built with sanitizers, our object comes first all the same.
  setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 0);
  // A program that it has just started may outlive it by a moment.
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  CommandResult result = RunCommand(command, input);
  while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR) continue;
  unsetenv("LD_PRELOAD");
  return result;
}

bool RunWithFault(const std::vector<std::string>& command, const Fault& fault,
                  const fs::path& state, CommandResult& result) {
  unsigned long calls = 0;
  std::ofstream(state, std::ios::binary).write(reinterpret_cast<const char*>(&calls), sizeof calls);
  setenv("KAVREL_FAULT", fault.Text().c_str(), 1);
  setenv("KAVREL_FAULT_IN", fault.Program.c_str(), 1);
  setenv("KAVREL_FAULT_STATE", state.c_str(), 1);
  if (!fault.Under.empty()) setenv("KAVREL_FAULT_UNDER", fault.Under.c_str(), 1);
  result = RunToItsEnd(command);
  unsetenv("KAVREL_FAULT");
  unsetenv("KAVREL_FAULT_UNDER");
  std::ifstream(state, std::ios::binary).read(reinterpret_cast<char*>(&calls), sizeof calls);
  return calls >= fault.At;
}

std::vector<std::string> World::Command() const {
  std::vector<std::string> command = StartedBy;
  command.insert(command.end(), {KAVRELCTL, "--home", temp_.Home()});
  command.insert(command.end(), scenario_.Command.begin(), scenario_.Command.end());
  return command;
}

void World::Run() {
  Result = RunToItsEnd(Command());
}

bool World::Run(const Fault& fault) {
  return RunWithFault(Command(), fault, state_, Result);
}

void World::EmptyOrigin() {
  fs::remove_all(origin_);
  fs::create_directories(origin_);
}

bool World::InBin(const Entry& entry) const {
  for (const auto& [path, binned] : ReadTree(temp_.Root() / "data" / "Trash" / "files")) {
    if (binned.SameContent(entry)) return true;
  }
  return false;
}

void World::CheckTarget(bool killed, std::string& wrongs, bool origin_emptied) const {
  const Tree found = ReadTree(target_);
  const bool binned = scenario_.Name == std::string("MirrorWithBin");
  Tree known = target_after_;
  known.insert(target_before_.begin(), target_before_.end());
  for (const auto& [path, any] : known) {
    const bool was = target_before_.contains(path), will_be = target_after_.contains(path);
    const auto now = found.find(path);
    if (any.Kind == 'D') continue;
    const bool is_old =
        was && now != found.end() && now->second.SameContent(target_before_.at(path));
    const bool is_new =
        will_be && now != found.end() && now->second.SameContent(target_after_.at(path));
    if (is_old || is_new) continue;
    if (now == found.end()) {
      if (!was) continue;
      if (!will_be && (!binned || InBin(target_before_.at(path)))) continue;
    } else if (fs::path(path).extension() == ".7z") {
      continue;  // Looked at as an archive.
    }
    wrongs += path + (now == found.end() ? " is lost\n" : " is neither old nor new\n");
  }
  for (const auto& [path, entry] : found) {
    if (fs::path(path).extension() == ".7z") {
      if (RunCommand({"/usr/bin/7zz", "t", (target_ / path).string()}).ExitCode != 0) {
        wrongs += path + " is a broken archive\n";
      }
    } else if (!known.contains(path) && !(killed && IsStaged(path)) &&
               // Half an archive goes with the next archive, or after an hour.
               !((killed || origin_emptied) && path.ends_with(".7z.tmp"))) {
      wrongs += path + " is a stray\n";
    }
  }
}

void World::CheckKeptFiles(bool killed, std::string& wrongs) const {
  const Tree origin = ReadTree(origin_);
  for (const auto& [path, entry] : origin_before_) {
    const auto now = origin.find(path);
    if (now == origin.end() || !now->second.SameContent(entry) ||
        (entry.Kind != 'D' && now->second.Written != entry.Written)) {
      wrongs += "source: " + path + " was touched\n";
    }
  }
  const std::string store = ReadTestFile(temp_.Home() / "Backup.rtm");
  const std::string start = kept_.at("Backup.rtm").substr(0, 3);  // Flag, TAB, "J".
  if (!store.starts_with(start) || !store.ends_with("\t\r\n") ||
      std::count(store.begin(), store.end(), '\n') != 1 ||
      std::count(store.begin(), store.end(), '\t') != 24) {
    wrongs += "store: " + store + "\n";
  }
  const std::string log = ReadTestFile(temp_.Home() / "Log" / "QVDlog.log");
  const std::string& old_log = kept_.at("Log/QVDlog.log");
  if (old_log != kMissing &&
      (!log.starts_with(old_log) || (!log.empty() && !log.ends_with("\"\r\n")))) {
    wrongs += "program log: " + log + "\n";
  }
  for (const auto& [name, after] :
       {std::pair("Exc.txt", new_rules_), std::pair("FileType.txt", new_filters_)}) {
    const std::string now = ReadTestFile(temp_.Home() / name);
    if (now != kept_.at(name) && now != after) wrongs += name + std::string(": ") + now + "\n";
  }
  const std::string settings = ReadTestFile(temp_.Home() / "Settings.ini");
  if (!settings.starts_with(kept_.at("Settings.ini"))) wrongs += "settings: " + settings + "\n";
  if (!killed) {
    for (const auto& item : fs::directory_iterator(temp_.Home())) {
      if (item.path().filename().string().ends_with(".tmp")) {
        wrongs += item.path().string() + " is a stray\n";
      }
    }
  }
}

/// The exit code, the figures and the log against what is on disk.
void World::CheckTruth(std::string& wrongs) const {
  const std::string label = scenario_.Restore ? "已還原失敗檔案總計：" : "備份失敗檔案總計　：";
  const long failed = Figure(Result.Output, label);
  const long warned = Figure(Result.Output, "警告檔案總計　　　：");
  const std::string log = ReadJobLogs(temp_, temp_.Home());
  if (failed >= 0 && Result.Errors.find("日誌無法寫入") == std::string::npos &&
      Figure(log, label) != failed) {
    wrongs += "the log tells another figure: " + log + "\n";
  }
  if (Result.ExitCode != 0) {
    const long unseen = Figure(Result.Output, "無法查看檔案總計　：");
    if (failed <= 0 && unseen <= 0 && Result.Errors.empty())
      wrongs += "nothing says why it failed\n";
    return;
  }
  if (failed > 0) wrongs += "failures were counted, but success was told\n";
  const Tree found = ReadTree(target_);
  for (const auto& [path, entry] : target_after_) {
    if (entry.Kind == 'D' || fs::path(path).extension() == ".7z") continue;
    const auto now = found.find(path);
    if (now == found.end() || !now->second.SameContent(entry)) {
      wrongs += "success was told, but " + path + " is not new\n";
    } else if (warned <= 0 && now->second.Written != entry.Written) {
      wrongs += "success was told, but " + path + " has not its time\n";
    }
  }
}

std::string World::Wrongs() {
  std::string wrongs;
  if (Result.ExitCode >= 128)
    wrongs += "ended by signal " + std::to_string(Result.ExitCode - 128) + "\n";
  CheckTarget(false, wrongs);
  CheckKeptFiles(false, wrongs);
  CheckTruth(wrongs);
  if (!wrongs.empty())
    wrongs += "exit code " + std::to_string(Result.ExitCode) + "\n" + Result.Output + Result.Errors;
  return wrongs;
}

std::string World::WrongsAfterKill() {
  std::string wrongs;
  CheckTarget(true, wrongs);
  CheckKeptFiles(true, wrongs);
  return wrongs;
}

/// What is one file at the origin is one at the target, and nothing else is.
void World::CheckLinks(std::string& wrongs) const {
  const Tree found = ReadTree(target_);
  for (const auto& [path, entry] : origin_before_) {
    for (const auto& [other, entry_too] : origin_before_) {
      const auto a = found.find(path), b = found.find(other);
      if (entry.Kind != 'F' || a == found.end() || b == found.end()) continue;
      if ((entry.File == entry_too.File) == (a->second.File == b->second.File)) continue;
      wrongs += path + " and " + other + " are wrongly linked or not\n";
    }
  }
}

std::string World::WrongsAfterHealing(bool origin_emptied) {
  std::string wrongs;
  CheckTarget(false, wrongs, origin_emptied);
  if (!origin_emptied) {
    if (scenario_.Job[1] != "compressed" && scenario_.Command.size() == 2) CheckLinks(wrongs);
    CheckKeptFiles(false, wrongs);
    CheckTruth(wrongs);
    if (Result.ExitCode != 0) wrongs += "the next run failed\n";
  }
  if (!wrongs.empty()) wrongs += Result.Output + Result.Errors;
  return wrongs;
}

void Count(const std::string& what, std::size_t number) {
  std::printf("[ counted  ] %s: %zu\n", what.c_str(), number);
  if (const char* path = getenv("KAVREL_FAULT_COUNTS")) {
    std::ofstream(path, std::ios::app) << what << ": " << number << "\n";
  }
}

unsigned long SweepStep(unsigned long quick) {
  return getenv("KAVREL_FAULTS_FULL") ? 1 : quick;
}

}  // namespace kavrel::faults
