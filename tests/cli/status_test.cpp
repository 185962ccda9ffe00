// Whether the backups are well, as a monitor asks for it.
#include "cli/ctl.h"
#include "core/job_store.h"
#include "platform/clock.h"
#include "platform/process.h"

namespace kavrel {
namespace {

class StatusTest : public CtlTest {
 protected:
  json Of(const std::string& name) const { return Json({"status", name})["jobs"][0]; }
  std::string Word(const std::string& name) const { return Of(name)["status"]; }
  /// Changes the stored jobs behind the program's back.
  void Change(const std::function<void(BackupJob&)>& change) const {
    JobStore store(temp_.Files());
    ASSERT_TRUE(store.LoadJobs());
    for (BackupJob& job : store.Jobs) change(job);
    ASSERT_TRUE(store.SaveJobs());
  }
};

TEST_F(StatusTest, TellsFromOneLookWhetherEachJobIsWellAndSinceWhen) {
  EXPECT_EQ(Code({"status"}), 0) << "no job, no trouble";
  WriteTestFile(source_ / "a.txt", "a");
  Add("A");
  EXPECT_EQ(Word("A"), "never");
  EXPECT_EQ(Code({"status"}), 1);
  ASSERT_EQ(Code({"run", "A"}), 0);
  const json well = Json({"status"});
  EXPECT_EQ(well["format"], 1);
  EXPECT_EQ(well["well"], true);
  const json ok = well["jobs"][0];
  EXPECT_EQ(ok["status"], "ok");
  EXPECT_EQ(ok["cause"], nullptr);
  EXPECT_EQ(ok["last_success"], ok["last_run"]);
  EXPECT_EQ(Ctl({"status", "-q"}).Output, "") << "nothing to say";
  EXPECT_EQ(Code({"status"}), 0);

  // A failure does not move the last success, and tells its reason; nor does the next failure.
  fs::rename(source_, temp_.Root() / "gone");
  for (int times = 0; times < 2; ++times) {
    EXPECT_EQ(Code({"run", "A"}), 5);
    const json gone = Of("A");
    EXPECT_EQ(gone["status"], "failed");
    EXPECT_EQ(gone["cause"], "source-missing");
    EXPECT_TRUE(Holds(gone["reason"], source_.string())) << gone;
    EXPECT_EQ(gone["last_success"], ok["last_success"]);
  }
  EXPECT_EQ(Code({"status", "A"}), 1);
  EXPECT_EQ(Json({"list"})[0]["status"], "failed");
  EXPECT_TRUE(Holds(Ctl({"list"}).Errors, "A: 沒有執行：找不到來源資料夾")) << "told by name";
  const CommandResult log = Ctl({"log", "--failed"});
  EXPECT_TRUE(Holds(log.Output, "沒有執行")) << log.Output;
  EXPECT_EQ(Json({"log", "--failed"}).size(), 2u) << "one row for each";
  EXPECT_EQ(Json({"log"}).size(), 3u);
  EXPECT_EQ(Code({"log", "--show", "2"}), 2) << "what did not begin has no log";
  fs::rename(temp_.Root() / "gone", source_);
  EXPECT_EQ(Code({"run", "A"}), 0);
  EXPECT_EQ(Word("A"), "ok");

  // A backup of yesterday's may be too old for the one who asks.
  Change([](BackupJob& job) { job.LastRun -= std::chrono::hours(30); });
  EXPECT_EQ(Code({"status", "--max-age", "2d"}), 0);
  EXPECT_EQ(Json({"status", "--max-age", "26h"})["jobs"][0]["cause"], "too-old");
  EXPECT_EQ(Code({"status", "--max-age", "26h"}), 1);
  EXPECT_EQ(Code({"status", "--max-age", "soon"}), 2);
  EXPECT_EQ(Code({"status", "B"}), 3);
}

TEST_F(StatusTest, TellsWhatIsDuePausedOverdueOffOrAtWork) {
  WriteTestFile(source_ / "a.txt", "a");
  Add("A");
  ASSERT_EQ(Code({"run", "A"}), 0);
  const auto due = [&](int minutes) {
    Change(
        [&](BackupJob& job) { job.NextRun = SystemClock().Now() - std::chrono::minutes(minutes); });
  };
  due(1);
  EXPECT_EQ(Word("A"), "waiting");
  due(11);
  EXPECT_EQ(Of("A")["cause"], "not-run");
  EXPECT_EQ(Code({"status"}), 1);
  ASSERT_EQ(Code({"pause"}), 0);
  EXPECT_EQ(Of("A")["cause"], "paused");
  EXPECT_EQ(Json({"status"})["paused"], true);
  ASSERT_EQ(Code({"edit", "A", "--disable"}), 0);
  EXPECT_EQ(Word("A"), "off");
  EXPECT_EQ(Code({"status", "A"}), 0);
  ProcessLock lock;
  ASSERT_TRUE(lock.TryAcquire(TempFolder::Text(temp_.Home()), u"another"));
  EXPECT_EQ(Word("A"), "off");
  lock.NoteWork(u"A");
  EXPECT_EQ(Word("A"), "running");
  EXPECT_TRUE(Holds(Ctl({"run", "A"}).Errors, "正由 another (process")) << "the note's first line";
  lock.NoteWork({});
  EXPECT_EQ(Word("A"), "off");
}

TEST_F(StatusTest, FilesThatFailedAreNamedUntilARunGoesWell) {
  WriteTestFile(source_ / "a/b", "a");
  WriteTestFile(dest_ / "a", "in the way");
  Add("A");
  EXPECT_EQ(Code({"run", "A"}), 1);
  const json failed = Of("A");
  EXPECT_EQ(failed["cause"], "files-failed");
  EXPECT_EQ(failed["last_success"], nullptr);
  EXPECT_TRUE(Holds(failed["reason"], "1 file failed: ")) << failed;
  // Somebody may clear the list: that makes nothing well.
  fs::remove_all(temp_.Home() / "Log");
  EXPECT_EQ(Of("A")["cause"], "not-known");
  fs::remove(dest_ / "a");
  EXPECT_EQ(Code({"run", "A"}), 0);
  EXPECT_EQ(Of("A")["cause"], nullptr);
}

TEST_F(StatusTest, WhatStoppedARunHasItsOwnWordEvenWithoutItsLog) {
  WriteTestFile(source_ / "a", "a");
  WriteTestFile(dest_ / "precious", "of somebody else");
  WriteTestFile(temp_.Root() / "file", "in the way");
  Add("Guarded", {"--type", "sync"});
  Add("NoPlace");
  ASSERT_EQ(Code({"edit", "NoPlace", "--dest", (temp_.Root() / "file/below").string()}), 0);
  Add("NoSource");
  const fs::path gone = temp_.Root() / "gone";
  fs::create_directories(gone);
  ASSERT_EQ(Code({"edit", "NoSource", "--source", gone.string()}), 0);
  fs::remove(gone);
  EXPECT_EQ(Code({"run", "Guarded"}), 6);
  EXPECT_EQ(Code({"run", "NoPlace"}), 10);
  EXPECT_EQ(Code({"run", "NoSource"}), 5);
  EXPECT_EQ(Json({"log", "--job", "Guarded"})[0]["result"], "guarded");
  EXPECT_EQ(Json({"log", "--job", "NoPlace"})[0]["result"], "no-place");
  const std::pair<const char*, const char*> causes[] = {
      {"Guarded", "guarded"}, {"NoPlace", "no-place"}, {"NoSource", "source-missing"}};
  for (const bool cleared : {false, true}) {
    if (cleared) fs::remove_all(temp_.Home() / "Log");
    for (const auto& [name, cause] : causes) {
      const json job = Of(name);
      EXPECT_EQ(job["status"], "failed") << name << ": that it never ran is no excuse";
      EXPECT_EQ(job["cause"], cause) << name << cleared;
    }
  }
  Change([](BackupJob& job) { job.Extras.BadBy = BadEnd::Space; });
  EXPECT_EQ(Of("Guarded")["cause"], "no-space");
  EXPECT_EQ(Code({"run", "Guarded", "--force"}), 0);
  EXPECT_EQ(Of("Guarded")["cause"], nullptr);
  EXPECT_EQ(Of("Guarded")["status"], "ok");
  const std::string help = Ctl({"--lang", "en", "status", "--help"}).Output;
  EXPECT_TRUE(Holds(help, "0  all of these jobs are well")) << help;
  EXPECT_FALSE(Holds(help, "the copies do not fit")) << "that is no code of it";
}

}  // namespace
}  // namespace kavrel
