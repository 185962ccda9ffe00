#include "app/program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>

#include "app/first_job.h"
#include "app/watch.h"
#include "base/text.h"
#include "core/job_presets.h"
#include "support/set_clock.h"
#include "support/spoken.h"
#include "support/temp_folder.h"
#include "support/test_program.h"

namespace kavrel {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::minutes;

/// Notes the steps of a start and a first tick, each with what is known by then.
class SteppingHost final : public RecordingHost {
 public:
  std::string Steps;
  kavrel::Program* Program = nullptr;
  int Asked = 0;
  std::function<void()> WhileAsked;

  void BuildControls() override { Steps += "controls "; }
  void CreateTrayIcon() override { Steps += "tray "; }
  void HideToTray() override { Steps += "hide "; }
  void ShowSettings() override {
    Steps += "settings:" + std::to_string(Program->Exclusions.Rules().size()) + " ";
  }
  void FillJobList() override {
    Steps += "jobs:" + std::to_string(Program->Store.Jobs.size()) + " ";
  }
  void ShowLogList() override {
    Steps += "log:" + std::to_string(Program->LogRows.Rows().size()) + " ";
  }
  void SetTickTimer(bool on, std::uint32_t ms) override {
    if (on) Steps += "timer:" + std::to_string(ms) + " ";
  }
  void LayOut() override { Steps += "layout "; }
  void AskPastDue(PastDueQuestion& question) override {
    ++Asked;
    if (WhileAsked) WhileAsked();
    ProgramHost::AskPastDue(question);
  }
  void JobStarting(std::int32_t row, DateTime) override {
    Steps += "run:" + std::to_string(row) + " ";
  }
};

struct StartedProgram {
  TempFolder Temp;
  SetClock Clock{2009, 9, 23, 15, 4, 5};
  SteppingHost Host;
  kavrel::Program Program{TempFolder::Text(Temp.Home()),
                          TempFolder::Text(Temp.Home() / "Settings.ini"), Clock, Host};
  StartedProgram() { Host.Program = &Program; }

  void StoreJobs(int count) {
    WriteTestFile(Temp.DriveC() / "src/a.txt", "a");
    for (int i = 0; i < count; ++i) {
      BackupJob job;
      NewJobDefaults(job, Clock.Now(), u"");
      job.Name = std::u16string(1, static_cast<char16_t>(u'A' + i));
      job.Source.Path = u"C:\\src\\";
      job.Destination.Path = u"D:\\" + job.Name + u"\\";
      job.Enabled = i != 1;
      Program.Store.Jobs.push_back(job);
    }
    ASSERT_TRUE(Program.Store.SaveJobs());
  }
};

TEST(ProgramStart, GoesThroughItsStepsInOrderAndRunsWhatIsOverdue) {
  StartedProgram run;
  run.StoreJobs(3);
  run.Program.Preferences.SetStartMin(true);
  EXPECT_TRUE(run.Program.Start(u"  "));
  EXPECT_EQ(run.Host.Steps, "controls tray hide settings:14 jobs:3 log:0 timer:1000 layout ");
  EXPECT_EQ(run.Host.Asked, 2);
  // What was off has moved on and is stored so; what is on waits for the first tick.
  EXPECT_EQ(run.Program.Store.Jobs[1].NextRun, *FromCivil(2009, 9, 23, 15, 10));
  EXPECT_NE(ReadTestFile(run.Temp.Home() / "Backup.rtm").find("03:10:00"), std::string::npos)
      << ReadTestFile(run.Temp.Home() / "Backup.rtm");
  run.Host.Steps.clear();
  run.Program.Tick();
  EXPECT_EQ(run.Host.Steps, "run:0 run:2 timer:30000 ");
  EXPECT_TRUE(std::filesystem::exists(run.Temp.DriveD() / "C/src/a.txt"));
  run.Program.Shutdown();
  EXPECT_NE(ReadTestFile(run.Temp.Home() / "Log/QVDlog.log"), "");
}

TEST(ProgramStart, TheStoreMayBeSavedAndChangedWhileAQuestionWaits) {
  StartedProgram run;
  run.StoreJobs(3);
  const std::string before = ReadTestFile(run.Temp.Home() / "Backup.rtm");
  run.Host.WhileAsked = [&] {
    EXPECT_EQ(run.Program.Store.Jobs.size(), 3U) << "all of it is there";
    EXPECT_TRUE(run.Program.Store.SaveJobs());
    EXPECT_EQ(ReadTestFile(run.Temp.Home() / "Backup.rtm"), before);
    if (run.Host.Asked == 2) run.Program.Store.Jobs.erase(run.Program.Store.Jobs.begin());
  };
  EXPECT_TRUE(run.Program.Start({}));
  EXPECT_EQ(run.Host.Asked, 2);
  EXPECT_EQ(run.Program.Store.Jobs.at(1).NextRun, *FromCivil(2009, 9, 23, 1)) << "another job's";
}

TEST(ProgramStart, InAPauseNobodyIsAskedAndItsEndIsLikeThatOfAnyGap) {
  StartedProgram started;
  started.StoreJobs(1);
  const DateTime missed = started.Program.Store.Jobs[0].NextRun;
  ASSERT_EQ(started.Program.Pause.Begin(started.Clock.Now() + hours(1)), 0);
  started.Program.Start({});
  started.Program.Tick();
  EXPECT_EQ(started.Host.Asked, 0);
  EXPECT_EQ(started.Host.Steps.find("run:"), std::string::npos) << started.Host.Steps;
  EXPECT_EQ(started.Program.Store.Jobs[0].NextRun, missed);
  started.Clock.Advance(3600000);
  started.Program.Tick();
  EXPECT_NE(started.Host.Steps.find("run:0"), std::string::npos) << started.Host.Steps;
  EXPECT_GT(started.Program.Store.Jobs[0].NextRun, started.Clock.Now());

  started.Program.Store.Jobs[0].NextRun = missed;
  started.Program.Store.SaveJobs();
  started.Program.ReloadJobs();
  EXPECT_EQ(started.Host.Asked, 1) << "it was over when the program began";
}

TEST(ProgramStart, ARunWithTheClockAheadPutsNoLaterOneOff) {
  TestProgram test;
  WriteTestFile(test.Source() / "a", "x");
  test.AddJob().EveryMinutes = 5;
  const DateTime now = test.Clock.Now();
  test.Clock.Set(now + days(400));
  // Set right in the midst of the run: what it began with counts all the same.
  test.Host.AtPump = [&] { test.Clock.Set(now); };
  ASSERT_EQ(test.Program.RunJobNow(0), RunOutcome::Ran);
  test.Host.AtPump = {};
  ASSERT_GT(test.Program.Store.Jobs[0].NextRun, now + days(399));
  test.Program.Load();
  EXPECT_EQ(test.Host.SetRight.size(), 1u);
  EXPECT_LE(test.Program.Store.Jobs[0].NextRun, now + minutes(5));
  EXPECT_EQ(StatusText(test.Program.LogRows.Rows().back()), u"時間更正");

  // A run by hand before anything else looks, and a job put off by its user.
  test.Program.Store.Jobs[0].NextRun += minutes(5 * 100'000);
  test.Program.Store.Jobs[0].LastRun += days(300);
  ASSERT_EQ(test.Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_LE(test.Program.Store.Jobs[0].NextRun, now + minutes(5));
  // Where the next run is not put off there is nothing to tell.
  for (const int off : {0, 100'000}) {
    test.Program.Store.Jobs[0].NextRun += minutes(5 * off);
    test.Program.Store.Jobs[0].Extras.TimeMoved = now + days(2);
    ASSERT_TRUE(test.Program.Store.SaveJobs());
    test.Program.Load();
    EXPECT_EQ(test.Host.SetRight.size(), off > 0 ? 3u : 2u);
  }
}

TEST(ProgramSettings, EditedByHandDuringARunTheyCountAndAreKept) {
  TestProgram test;
  const auto file = test.Temp.Home() / "Settings.ini";
  const std::string edited = "; mine\n[Settings]\nExcEnabled=0\nLogRestrictions=0\n";
  WriteTestFile(test.Source() / "a", "x");
  test.AddJob();
  test.Host.AtPump = [&] { WriteTestFile(file, edited); };
  ASSERT_EQ(test.Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_EQ(test.Program.Preferences.LogRestrictions(), 0);
  ASSERT_TRUE(test.Program.Preferences.SetStartMin(true));
  EXPECT_EQ(ReadTestFile(file), edited + "StartMin=True\n");
}

/// A job every minute but at weekends, watched from a Friday evening on under a clock that stands
/// still while the program works and moves on when it waits.
void WatchFor(hours simulated) {
  TempFolder temp;
  const DateTime friday = *FromCivil(2009, 9, 25, 18);
  SetClock clock(friday - std::chrono::seconds(2));
  const DateTime end = friday + simulated;
  std::vector<std::string> lines;
  WatchHost host({clock,
                  [&](WatchLevel, std::u16string_view line) { lines.push_back(ToUtf8(line)); },
                  [&] { return clock.Now() >= end; },
                  [&](std::uint32_t milliseconds) { clock.Advance(milliseconds); }});
  kavrel::Program program(TempFolder::Text(temp.Home()),
                          TempFolder::Text(temp.Home() / "Settings.ini"), clock, host);
  WriteTestFile(temp.DriveC() / "src/a.txt", "a");
  BackupJob job;
  NewJobDefaults(job, clock.Now(), u"");
  job.Name = u"A";
  job.Source.Path = u"C:\\src\\";
  job.Destination.Path = u"D:\\dst\\";
  job.Enabled = true;
  job.NextRun = friday;
  SetInterval(job, IntervalKind::Minutes, 1);
  job.RefusedDays = 1 << 1 | 1 << 7;  // Sunday and Saturday
  program.Store.Jobs.push_back(job);
  ASSERT_TRUE(program.Store.SaveJobs());
  program.Preferences.SetLogRestrictions(0);
  ASSERT_TRUE(host.Run(program));

  std::map<std::string, int> started;
  for (const std::string& line : lines) {
    if (line.find(" 開始：A") != line.npos) ++started[line.substr(0, 16)];
  }
  int expected = 0;
  for (DateTime due = friday; due < end; due += minutes(1)) {
    const int weekday = ToCivil(due).Weekday;
    const bool refused = weekday == 1 || weekday == 7;
    expected += refused ? 0 : 1;
    const auto runs = started.find(ToUtf8(IsoText(due)).substr(0, 16));
    ASSERT_EQ(runs == started.end() ? 0 : runs->second, refused ? 0 : 1) << ToUtf8(IsoText(due));
  }
  EXPECT_EQ(started.size(), static_cast<std::size_t>(expected));
  EXPECT_TRUE(lines.back().ends_with("結束：備份排程與備份紀錄已儲存"));
}

TEST(Watch, MeetsEveryMinuteOnceAndRefusedDaysNever) {
  WatchFor(hours(60));
}

/// A month of it is run when asked for (--gtest_also_run_disabled_tests): it takes a while.
TEST(Watch, DISABLED_AMonth) {
  WatchFor(days(30));
}

TEST(Program, AJobThatIsSwitchedOnLeavesARefusedDay) {
  StartedProgram started;
  const DateTime saturday = *FromCivil(2009, 9, 26, 9);
  BackupJob job;
  job.NextRun = saturday, job.EveryDays = 1, job.RefusedDays = 1 << 7;
  started.Program.Store.Jobs = {job, job};
  started.Program.Store.Jobs[1].RefusedDays = 1 << 1;
  for (const int row : {0, 1}) started.Program.SetJobEnabled(row, true, false);
  EXPECT_EQ(started.Program.Store.Jobs[0].NextRun, saturday + days(1));
  EXPECT_EQ(started.Program.Store.Jobs[1].NextRun, saturday);
}

/// What stands in the files of a program folder and in the mark of a backup, with what differs from
/// one folder and one run to another taken out.
std::string FilesAfterRuns(std::string_view language) {
  const Spoken spoken(language);
  TestProgram test;
  for (const char* name : {"a", "docs/報告"}) WriteTestFile(test.Source() / name, name);
  test.AddJob().Extras.VerifyAfterRun = true;
  BackupJob& away = test.AddJob();
  away.Name = u"away";
  away.Source.Path = u"C:\\none\\";
  EXPECT_EQ(test.Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_EQ(test.Program.RunJobNow(1), RunOutcome::SourceMissing);
  test.Program.Shutdown();
  std::string content;
  std::set<std::filesystem::path> files;
  for (const std::filesystem::path& root : {test.Temp.Home(), test.Dest()}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
      if (entry.is_regular_file()) files.insert(entry.path());
    }
  }
  for (const std::filesystem::path& file : files) content += file.string() + ReadTestFile(file);
  static const std::regex kIds("[0-9a-f]{16,}|SourceDiskBytes=[0-9]+");
  const std::u16string root = TempFolder::Text(test.Temp.Root());
  return std::regex_replace(ToUtf8(ReplaceAll(FromUtf8(content), root, u"/root")), kIds, "id");
}

TEST(Program, WritesTheSameFilesInEveryLanguage) {
  const std::string files = FilesAfterRuns("zh_TW");
  for (const char* name : {"Backup.rtm", "Backup.ext", ".txt", "docs"}) {
    EXPECT_NE(files.find(name), files.npos) << name;
  }
  for (const Language& language : Languages()) {
    EXPECT_EQ(FilesAfterRuns(language.Code), files) << language.Code;
  }
}

TEST(Program, GivesNoNameThatSomeLanguageCannotShow) {
  TestProgram test;
  ASSERT_TRUE(test.Program.Load());
  BackupJob job;
  NewJobDefaults(job, test.Clock.Now(), u"");
  std::vector<std::u16string> jobs{job.Name, SourceOffers(test.Program).front().Name}, rules, types;
  for (const JobPreset& preset : JobPresets()) jobs.emplace_back(preset.Name);
  for (const ExclusionRule& rule : test.Program.Exclusions.Rules()) rules.push_back(rule.Desc);
  for (const FileFilter& filter : test.Program.Filters.Entries) types.push_back(filter.Name);
  EXPECT_EQ(rules.size(), 14u);
  EXPECT_EQ(types.size(), 10u);
  for (const Language& language : Languages()) {
    const Spoken spoken(language.Code);
    const bool may = language.Code.starts_with("zh") || language.Code == "ja";
    for (const auto* names : {&jobs, &rules, &types}) {
      std::set<std::u16string> shown;
      for (const std::u16string& name : *names) {
        shown.insert(ToLower(ShownName(name)));
        EXPECT_TRUE(may ||
                    !std::ranges::any_of(ShownName(name), [](char16_t c) { return c >= 0x2E80; }))
            << language.Code << ToUtf8(name);
        EXPECT_EQ(ShownName(name) == name,
                  language.Code == "zh_TW" || name == u"Internet Explorer Cookies")
            << language.Code << ToUtf8(name);
      }
      EXPECT_EQ(shown.size(), names->size()) << language.Code << ": two look alike";
    }
  }
}

}  // namespace
}  // namespace kavrel
