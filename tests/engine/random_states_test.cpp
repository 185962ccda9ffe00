// Random trees, changed so that sizes and times tell as little as they can: each dated folder is
// the source as it was at its run and stays so through later runs, kills, restores and thinnings.
#include <random>

#include "engine/linked_states.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

/// Changes of a source, so that sizes and times tell as little as they can.
class Changer {
 public:
  Changer(fs::path root, unsigned seed) : root_(std::move(root)), random_(seed) {
    for (int i = 0; i < 25; ++i) Create();
  }

  /// `plain`: one that sizes and times tell, which is all that a run into a folder that is there
  /// goes by.
  void Change(bool plain = false) {
    const fs::path a = Any(false), b = Any(false), folder = Any(true), other = Any(true);
    switch (plain ? Below(4) : Below(13)) {
      case 0:
      case 1:
        return Create();
      case 2:
        fs::remove(a);
        return;
      case 3:  // Written to in place, at another time.
        Write(a, 500 + Below(400));
        return;
      case 4:  // Another file of the same size and time.
        if (!fs::is_symlink(a)) {
          const struct stat old = StatusOf(a);
          fs::remove(a);
          Write(a, 0);
          SetWritten(a, {old.st_mtim.tv_sec, static_cast<std::int32_t>(old.st_mtim.tv_nsec)});
        }
        return;
      case 5:
        return Swap(a, b);
      case 6:
        if (folder != root_ && other != root_ && !Holds(folder, other) && !Holds(other, folder)) {
          Swap(folder, other);
        }
        return;
      case 7:
        fs::rename(a, folder / Name());
        return;
      case 8:
        if (folder != root_ && !Holds(folder, other)) fs::rename(folder, other / Name());
        return;
      case 9:
        if (!fs::is_symlink(a)) chmod(a.c_str(), Below(2) ? 0644 : 0400 | Below(0100));
        return;
      case 10:
        if (!fs::is_symlink(a)) fs::create_hard_link(a, folder / Name());
        return;
      case 11:
        fs::remove(a);
        fs::create_symlink("target " + std::to_string(Below(3)), a);
        return;
      default:
        if (!fs::is_symlink(a)) setxattr(a.c_str(), kAttribute, Below(2) ? "one" : "two", 3, 0);
    }
  }

 private:
  unsigned Below(unsigned end) { return static_cast<unsigned>(random_() % end); }
  std::string Name() { return "n" + std::to_string(++names_); }
  static bool Holds(const fs::path& folder, const fs::path& path) {
    return (path.string() + "/").starts_with(folder.string() + "/");
  }
  void Write(const fs::path& path, unsigned size) {
    const bool link = fs::is_symlink(path);
    if (link) fs::remove(path);
    if (!link && fs::exists(path)) chmod(path.c_str(), 0644);
    char text[16];
    snprintf(text, sizeof text, "%08u", ++contents_);
    WriteTestFile(path, text + std::string(size, '.'));
  }
  void Create() {
    const fs::path folder = Any(true);
    if (Below(4) == 0) {
      fs::create_directory(folder / Name());
    } else {
      const fs::path path = folder / Name();
      Write(path, 0);
      SetWritten(path, {1'000'000'000 + Below(2), static_cast<std::int32_t>(Below(2)) * 100});
    }
  }
  static void Swap(const fs::path& a, const fs::path& b) {
    if (a == b) return;
    const fs::path aside = a.string() + ".aside";
    fs::rename(a, aside);
    fs::rename(b, a);
    fs::rename(aside, b);
  }
  fs::path Any(bool folder) {
    std::vector<fs::path> found;
    if (folder) found.push_back(root_);
    for (const auto& entry : fs::recursive_directory_iterator(root_)) {
      const bool is_folder = entry.is_directory() && !entry.is_symlink();
      if (is_folder == folder) found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    if (found.empty()) {
      Create();
      return Any(folder);
    }
    return found[Below(static_cast<unsigned>(found.size()))];
  }

  const fs::path root_;
  std::mt19937 random_;
  unsigned names_ = 0, contents_ = 0;
};

class StatesOfRandomTreesTest : public LinkedStatesTest,
                                public testing::WithParamInterface<unsigned> {};

TEST_P(StatesOfRandomTreesTest, EachIsTheSourceAsItWasAndStaysSo) {
  const unsigned seed = GetParam();
  constexpr BackupType kTypes[] = {BackupType::Differential, BackupType::Synchronise,
                                   BackupType::Full};
  Begin(kTypes[seed % 3]);
  if (seed % 3 == 2) Job().Extras.StateLinks = LinkStates::Hard;
  Job().Extras.KeepNewest = 6;
  Changer source(Source(), seed);
  // From now on the store knows the job's identity, in whichever process it runs.
  Run();
  std::mt19937 random(seed + 1000);
  std::map<fs::path, Tree> states;
  const auto check = [&](const char* when) {
    for (auto at = states.begin(); at != states.end();) {
      if (!fs::exists(at->first)) {
        at = states.erase(at);
        continue;
      }
      EXPECT_EQ(Differences(Describe(at->first), at->second), "") << at->first << " " << when;
      ++at;
    }
  };
  for (int run = 0; run < 12 && !HasFailure(); ++run) {
    for (auto changes = random() % 8; changes > 0; --changes) source.Change();
    Clock.Advance(std::uint64_t{24} * 60 * 60 * 1000);
    if (random() % 3 == 0) {
      const bool died = RunAndDie(static_cast<int>(1 + random() % 100));
      for (auto changes = random() % 3; changes > 0; --changes) source.Change(true);
      if (random() % 2 || !died) Clock.Advance(std::uint64_t{24} * 60 * 60 * 1000);
    }
    const RunCounters planned = Foresee(Job()).Counters;
    const Tree now = Describe(Source());
    const RunCounters& counters = Run();
    EXPECT_EQ(counters.FailedFiles + counters.WarningFiles, 0U) << LogLines();
    EXPECT_EQ(counters.CopiedFiles, planned.CopiedFiles);
    EXPECT_EQ(counters.UnchangedFiles, planned.UnchangedFiles);
    states[State()] = now;
    check("after a run");
    if (random() % 4 == 0) {
      const bool plain = random() % 2 == 0;
      source.Change(plain);
      const Tree later = Describe(Source());
      Run();
      // What it could not see there, the next state has.
      states[State()] = plain && Job().Synchronise ? later : Describe(State());
      check("after another run into the same folder");
    }
    if (random() % 4 == 0) {
      auto back = states.begin();
      std::advance(back, random() % states.size());
      for (const auto& entry : fs::directory_iterator(Source())) fs::remove_all(entry);
      RestoreRequest request;
      request.Unit = u"D:\\dst\\" + FromUtf8(back->first.filename().string()) + u"\\";
      EXPECT_EQ(Program.RunRestoreNow(0, request), RunOutcome::Ran);
      EXPECT_EQ(Differences(Describe(Source()), back->second), "") << "restored";
      check("after a restore");
    }
  }
  EXPECT_LE(states.size(), 6U);
}
INSTANTIATE_TEST_SUITE_P(, StatesOfRandomTreesTest, testing::Range(0U, 24U));

}  // namespace
}  // namespace kavrel
