#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "app/exit_code.h"
#include "app/run_health.h"
#include "engine/states.h"
#include "files/content_kind.h"
#include "support/command.h"
#include "support/test_program.h"
#include "support/tree.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

using namespace std::string_literals;

std::string Noise(std::size_t size, unsigned seed) {
  std::mt19937 random(seed);
  std::string bytes(size, ' ');
  for (char& c : bytes) c = static_cast<char>(random());
  return bytes;
}

/// What files of a home hold: texts, pictures, documents.
std::string ContentOf(int number, const std::string& words = "some words of file ") {
  const auto seed = static_cast<unsigned>(number);
  switch (number % 3) {
    case 0: {
      std::string text;
      for (int i = 0; i < 90; ++i) text += words + std::to_string(number * i) + ".\n";
      return text;
    }
    case 1:
      return "\xFF\xD8\xFF\xE0"s + Noise(5000, seed);
    default:
      return "PK\x03\x04"s + Noise(3000, seed);
  }
}

class ChangeGuardTest : public testing::Test, protected TestProgram {
 protected:
  static constexpr int kFiles = 60;

  ChangeGuardTest() { Host.GoOn = false; }

  static fs::path NameOf(int number) {
    constexpr const char* kSuffixes[] = {".txt", ".jpg", ".docx"};
    return fs::path("f" + std::to_string(number / 12)) /
           (std::to_string(number) + kSuffixes[number % 3]);
  }
  void MakeTree() const {
    for (int i = 0; i < kFiles; ++i) {
      WriteTestFile(Source() / NameOf(i), ContentOf(i));
      SetWritten(Source() / NameOf(i), {1000000000, 0});
    }
  }
  /// A source with a job that has no backup yet.
  void BeginAnew(BackupType type) {
    fs::remove_all(Source());
    fs::remove_all(Temp.DriveD());
    fs::create_directories(Temp.DriveD());
    Program.Store.Jobs.clear();
    Host.Questions.clear();
    MakeTree();
    AddJob(type);
  }
  void EncryptInPlace(int from, int to) const {
    for (int i = from; i < to; ++i) {
      WriteTestFile(Source() / NameOf(i), Noise(4000, static_cast<unsigned>(1000 + i)));
    }
  }
  /// Copies that do not hold what was backed up first any more.
  static int Lost(const fs::path& copy) {
    int lost = 0;
    for (int i = 0; i < kFiles; ++i) lost += ReadTestFile(copy / NameOf(i)) != ContentOf(i);
    return lost;
  }
  BackupJob& Job() { return Program.Store.Jobs[0]; }
  RunOutcome RunOnDay(int day) {
    Clock.Set(*FromCivil(2009, 9, 1, 1) + std::chrono::days(day));
    return Program.RunJobNow(0);
  }
  JobHealth HealthNow() {
    return JudgeJobs(Program.Store.Jobs, Program.LogRows.Rows(), Clock.Now()).front();
  }
  void ExpectAsked(std::size_t questions) {
    EXPECT_EQ(Host.Questions.size(), questions);
    ASSERT_FALSE(Host.Questions.empty());
    EXPECT_NE(Host.Questions.back().find(u"個檔案的內容變得像加密過的：C:\\src\\f"),
              std::u16string::npos);
  }
};

TEST_F(ChangeGuardTest, EncryptionInPlaceIsStoppedBeforeATenthIsOverwritten) {
  for (const BackupType type :
       {BackupType::Full, BackupType::Differential, BackupType::Synchronise}) {
    SCOPED_TRACE(static_cast<int>(type));
    BeginAnew(type);
    ASSERT_EQ(RunOnDay(0), RunOutcome::Ran);
    EncryptInPlace(0, kFiles);
    EXPECT_EQ(RunOnDay(1), RunOutcome::Guarded);
    EXPECT_LT(Lost(Dest()), kFiles / 10);
    EXPECT_EQ(Program.Context.Report.Refusal, RunRefusal::ChangeGuard);
    EXPECT_NE(LogLines().find(": 檔案變更防護 (中斷)："), std::string::npos);
    EXPECT_EQ(HealthNow().Cause, HealthCause::Changes);
    // However often it is tried, and by whatever program the job is read next.
    for (int day = 2; day < 6; ++day) {
      ASSERT_TRUE(Program.ReloadJobs());
      EXPECT_EQ(RunOnDay(day), RunOutcome::Guarded);
    }
    EXPECT_LT(Lost(Dest()), kFiles / 10);
    ExpectAsked(5);
    Host.GoOn = true;
    EXPECT_EQ(RunOnDay(6), RunOutcome::Ran);
    EXPECT_EQ(TreeDifferences(Source(), Dest()), "");
    EXPECT_EQ(RunOnDay(7), RunOutcome::Ran);
    ExpectAsked(6);
    EXPECT_EQ(HealthNow().State, Health::Good);
    Host.GoOn = false;
  }
}

TEST_F(ChangeGuardTest, FilesThatBecomeNoiseUnderOtherNamesLoseNoCopy) {
  for (const BackupType type : {BackupType::Synchronise, BackupType::Differential}) {
    for (int manner = 0; manner < 4; ++manner) {
      SCOPED_TRACE(manner);
      BeginAnew(type);
      ASSERT_EQ(RunOnDay(0), RunOutcome::Ran);
      for (int i = 0; i < 24; ++i) {
        const auto seed = static_cast<unsigned>(100 + i);
        const fs::path old = Source() / NameOf(i);
        const auto size = fs::file_size(old);
        fs::path name = old.string() + ".locked";
        if (manner == 1) name = fs::path(old).replace_extension(".xyz");
        // Nothing of the name is left; then it is an encryption program that people use.
        if (manner == 2)
          name = old.parent_path() / (std::to_string(seed * 7919) + ".q" + std::to_string(i));
        if (manner == 3) name = old.string() + ".gpg";
        fs::remove(old);
        WriteTestFile(name,
                      (manner == 3 ? "\x8C\x0D\x04\x09\x03\x02"s : ""s) + Noise(size + 100, seed));
      }
      EXPECT_EQ(RunOnDay(1), RunOutcome::Guarded);
      EXPECT_EQ(Program.Context.Report.Refusal, RunRefusal::ChangeGuard);
      EXPECT_EQ(Lost(Dest()), 0);
      ExpectAsked(1);
      Program.Context.Force = true;
      EXPECT_EQ(RunOnDay(2), RunOutcome::Ran);
      Program.Context.Force = false;
      EXPECT_EQ(RunOnDay(3), RunOutcome::Ran);
      ExpectAsked(1);
    }
  }
}

TEST_F(ChangeGuardTest, AFewFilesEachDayAreFoundAllTheSame) {
  MakeTree();
  AddJob(BackupType::Differential);
  ASSERT_EQ(RunOnDay(0), RunOutcome::Ran);
  int day = 0;
  do {
    EncryptInPlace(day, day + 1);
    ++day;
    // What people do meanwhile.
    WriteTestFile(Source() / NameOf(30 + day), ContentOf(30 + day, "other words "));
  } while (RunOnDay(day * 3) == RunOutcome::Ran && day < 20);
  EXPECT_LE(day, 5);
  ExpectAsked(1);
  int encrypted = 0;
  for (int i = 0; i < day; ++i) encrypted += ReadTestFile(Dest() / NameOf(i)) != ContentOf(i);
  EXPECT_LT(encrypted, kFiles / 10);

  // What has come to nothing is forgotten.
  AcceptChanges(Job().Extras);
  EXPECT_EQ(RunOnDay(100), RunOutcome::Ran);
  EncryptInPlace(50, 53);
  EXPECT_EQ(RunOnDay(101), RunOutcome::Ran);
  EncryptInPlace(53, 54);
  EXPECT_EQ(RunOnDay(200), RunOutcome::Ran);
  ExpectAsked(1);
  Job().Extras.GuardChanges = false;
  Job().Extras.Changes.Alarm = Clock.Now();
  EncryptInPlace(20, 45);
  EXPECT_EQ(RunOnDay(201), RunOutcome::Ran);
  ExpectAsked(1);
  Job().Extras.GuardChanges = true;
  EXPECT_FALSE(IsAlarmed(Job().Extras)) << "an alarm of former times";
}

TEST_F(ChangeGuardTest, DatedStatesGoOnAndTheLastGoodOneStays) {
  for (const BackupType type : {BackupType::Differential, BackupType::Full}) {
    SCOPED_TRACE(static_cast<int>(type));
    BeginAnew(type);
    Job().Destination.Path = u"D:\\<mm>-<dd>\\";
    Job().Extras.KeepNewest = 3;
    Job().Extras.DeletesOld = true;
    for (int day = 0; day < 4; ++day) ASSERT_EQ(RunOnDay(day), RunOutcome::Ran);
    EXPECT_FALSE(fs::exists(Temp.DriveD() / "09-01"));
    // One a day: without a memory the good states would be gone by the time it is noticed.
    int day = 4;
    for (; day < 20 && !IsAlarmed(Job().Extras); ++day) {
      EncryptInPlace(day, day + 1);
      EXPECT_EQ(RunOnDay(day), RunOutcome::Ran);
    }
    EXPECT_EQ(day, 9) << "the fifth file";
    EXPECT_EQ(Lost(Temp.DriveD() / "09-04"), 0);
    EXPECT_EQ(CodeOfBackup(Program.Context, Job()), kSomeFailed);
    EXPECT_NE(LogLines().find(": 釘選變更之前的備份 (成功)：D:\\09-04\\"), std::string::npos)
        << LogLines();
    EXPECT_EQ(HealthNow().Cause, HealthCause::Changes);
    const auto count = [&] {
      return std::distance(fs::directory_iterator(Temp.DriveD()), fs::directory_iterator());
    };
    const auto before = count();
    EncryptInPlace(9, kFiles);
    for (int more = 0; more < 5; ++more) EXPECT_EQ(RunOnDay(day++), RunOutcome::Ran);
    EXPECT_EQ(count(), before + 5) << "nothing goes while the alarm stands";
    EXPECT_TRUE(Host.Questions.empty());
    ASSERT_TRUE(Program.ReloadJobs());
    EXPECT_LT(LastSuccess(Job(), Program.LogRows.Rows()), Job().LastRun);
    AcceptChanges(Job().Extras);
    EXPECT_EQ(LastSuccess(Job(), Program.LogRows.Rows()), Job().LastRun);
    EXPECT_EQ(RunOnDay(day), RunOutcome::Ran);
    EXPECT_EQ(CodeOfBackup(Program.Context, Job()), kDone);
    EXPECT_EQ(count(), 4) << "the newest three, and the pinned one";
    EXPECT_EQ(Lost(Temp.DriveD() / "09-04"), 0);
  }
}

TEST_F(ChangeGuardTest, FoldersThatComeRoundAreAskedAboutWhileTheAlarmStands) {
  MakeTree();
  AddJob(BackupType::Differential);
  Job().Destination.Path = u"D:\\<dow>\\";
  int day = 0;
  for (; day < 3; ++day) ASSERT_EQ(RunOnDay(day), RunOutcome::Ran);
  EncryptInPlace(0, kFiles);
  for (; day < 7; ++day) EXPECT_EQ(RunOnDay(day), RunOutcome::Ran);
  ASSERT_TRUE(IsAlarmed(Job().Extras));
  EXPECT_TRUE(Host.Questions.empty());
  // A week later all three good ones come round, the pinned one among them.
  for (; day < 10; ++day) {
    EXPECT_EQ(RunOnDay(day), RunOutcome::Guarded);
    ExpectAsked(static_cast<std::size_t>(day - 6));
  }
  int whole = 0;
  for (const auto& folder : fs::directory_iterator(Temp.DriveD())) {
    if (Lost(folder.path()) < kFiles / 10) ++whole;
  }
  EXPECT_EQ(whole, 3);
  Host.GoOn = true;
  EXPECT_EQ(RunOnDay(day), RunOutcome::Ran);
  EXPECT_TRUE(IsAlarmed(Job().Extras)) << "that ends by its own word alone";
}

TEST_F(ChangeGuardTest, WhatIsAcceptedEndsThoughAFileFailsInEachRun) {
  MakeTree();
  AddJob(BackupType::Differential);
  // A folder is where the copy is to be.
  WriteTestFile(Source() / "blocked", "x");
  WriteTestFile(Dest() / "blocked/below", "x");
  ASSERT_EQ(RunOnDay(0), RunOutcome::Ran);
  ASSERT_EQ(Job().LastRunResult.FailedFiles, 1U);
  AcceptChanges(Job().Extras);
  EXPECT_EQ(RunOnDay(1), RunOutcome::Ran);
  EncryptInPlace(0, kFiles);
  EXPECT_EQ(RunOnDay(2), RunOutcome::Guarded);
}

TEST_F(ChangeGuardTest, AFewNewNamesARunAreFoundBesideAllThatAFullJobCopies) {
  BeginAnew(BackupType::Full);
  const auto name = [&](int i) { return Source() / ("letter " + std::to_string(i) + ".txt"); };
  for (int i = 0; i < 200; ++i) WriteTestFile(name(i), ContentOf(3 * i));
  ASSERT_EQ(RunOnDay(0), RunOutcome::Ran);
  for (int i = 0; i < 6; ++i) {
    fs::remove(name(i));
    WriteTestFile(name(i).string() + ".locked", Noise(3100, static_cast<unsigned>(i)));
    EXPECT_EQ(RunOnDay(1 + i), i < 4 ? RunOutcome::Ran : RunOutcome::Guarded) << i;
  }
}

TEST_F(ChangeGuardTest, NamesNeedNotTellAFormatNorHaveMuchInCommon) {
  const auto in_front = [](const std::string& name) { return "[locked]" + name; };
  const auto behind = [](const std::string& name) { return name + ".locked"; };
  const auto between = [](const std::string& name) {
    return name.substr(0, name.find('.')) + ".id-7A.[a@b]" + name.substr(name.find('.'));
  };
  struct Manner {
    std::string Suffix;
    std::function<std::string(const std::string&)> Rename;
  };
  for (const Manner& manner : {Manner{"", behind}, Manner{".x1y", behind}, Manner{".txt", in_front},
                               Manner{".txt", between}}) {
    BeginAnew(BackupType::Synchronise);
    Job().Extras.GuardMirror = false;
    fs::remove_all(Source());
    const auto name = [&](int i) { return "letter" + std::to_string(100 + i) + manner.Suffix; };
    for (int i = 0; i < kFiles; ++i) WriteTestFile(Source() / name(i), ContentOf(3 * i));
    ASSERT_EQ(RunOnDay(0), RunOutcome::Ran);
    for (int i = 0; i < kFiles; ++i) {
      fs::remove(Source() / name(i));
      WriteTestFile(Source() / manner.Rename(name(i)), Noise(9000, static_cast<unsigned>(i)));
    }
    EXPECT_EQ(RunOnDay(1), RunOutcome::Guarded) << manner.Rename(name(1));
    for (int i = 0; i < kFiles; ++i) EXPECT_EQ(ReadTestFile(Dest() / name(i)), ContentOf(3 * i));
  }
  // Noise that has another name only is no news.
  BeginAnew(BackupType::Synchronise);
  Job().Extras.GuardMirror = false;
  for (int i = 0; i < kFiles; ++i) {
    WriteTestFile(Source() / ("f0/" + std::to_string(i) + ".dat"),
                  Noise(static_cast<std::size_t>(3000 + 7 * i), static_cast<unsigned>(i)));
  }
  ASSERT_EQ(RunOnDay(0), RunOutcome::Ran);
  for (const auto& entry : fs::directory_iterator(Source() / "f0")) {
    fs::rename(entry.path(), Source() / "f0" / ("2026-" + entry.path().filename().string()));
  }
  EXPECT_EQ(RunOnDay(1), RunOutcome::Ran);
}

TEST_F(ChangeGuardTest, AMonthsFolderIsAskedAboutLikeOneWithoutDates) {
  MakeTree();
  AddJob(BackupType::Differential);
  Job().Destination.Path = u"D:\\<mm>\\";
  ASSERT_EQ(RunOnDay(0), RunOutcome::Ran);
  EncryptInPlace(0, kFiles);
  EXPECT_EQ(RunOnDay(1), RunOutcome::Guarded);
  EXPECT_LT(Lost(Temp.DriveD() / "09"), kFiles / 10);
  ExpectAsked(1);
}

TEST_F(ChangeGuardTest, ArchivesAreMadeAndNoneGoes) {
  if (!Program.Context.Archiver.Present()) GTEST_SKIP() << "no archive program";
  MakeTree();
  // A store of encrypted notes that was there from the beginning.
  for (int i = 0; i < 10; ++i) {
    WriteTestFile(Source() / "notes" / (std::to_string(i) + ".txt"),
                  Noise(900, 500U + static_cast<unsigned>(i)));
  }
  AddJob(BackupType::Compressed);
  Job().Extras.KeepNewest = 2;
  Job().Extras.DeletesOld = true;
  for (int day = 0; day < 3; ++day) ASSERT_EQ(RunOnDay(day), RunOutcome::Ran);
  EXPECT_TRUE(HealthNow().State == Health::Good) << "what was always so is usual";
  int day = 3;
  for (; day < 20 && !IsAlarmed(Job().Extras); ++day) {
    EncryptInPlace(day, day + 1);
    EXPECT_EQ(RunOnDay(day), RunOutcome::Ran);
  }
  EXPECT_LE(day - 3, kFiles / 10);
  EXPECT_EQ(HealthNow().Cause, HealthCause::Changes);
  bool good = false;
  for (const JobState& state : ListStates(Program.Context, Job())) {
    good |= state.Pinned && state.Unit.ends_with(u"2009年09月03日01時.7z");
  }
  EXPECT_TRUE(good) << "the last before the first of them";
}

TEST_F(ChangeGuardTest, WhatWasRefusedInTheOnlyStateIsStillWhatTheNextOneIsComparedWith) {
  MakeTree();
  AddJob(BackupType::Differential);
  Job().Destination.Path = u"D:\\<mm>-<dd>\\";
  Job().Extras.KeepNewest = 1;
  Job().Extras.DeletesOld = true;
  ASSERT_EQ(RunOnDay(0), RunOutcome::Ran);
  EncryptInPlace(0, kFiles);
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Guarded);
  for (int day = 1; day < 4; ++day) EXPECT_EQ(RunOnDay(day), RunOutcome::Ran);
  EXPECT_TRUE(IsAlarmed(Job().Extras));
  EXPECT_LT(Lost(Temp.DriveD() / "09-01"), kFiles / 10);
}

TEST_F(ChangeGuardTest, EncryptionThatLeavesTheFilesForARunIsFoundWhenTheyGo) {
  for (const BackupType type : {BackupType::Synchronise, BackupType::Differential}) {
    SCOPED_TRACE(static_cast<int>(type));
    BeginAnew(type);
    const bool dated = type == BackupType::Differential;
    if (dated) Job().Destination.Path = u"D:\\<mm>-<dd>\\";
    Job().Extras.KeepNewest = 1;
    Job().Extras.GuardFewest = 10000;
    ASSERT_EQ(RunOnDay(0), RunOutcome::Ran);
    for (int i = 0; i < kFiles; ++i) {
      WriteTestFile((Source() / NameOf(i)).string() + ".enc",
                    Noise(4000, static_cast<unsigned>(2000 + i)));
    }
    ASSERT_EQ(RunOnDay(1), RunOutcome::Ran);
    for (int i = 0; i < kFiles; ++i) fs::remove(Source() / NameOf(i));
    EXPECT_EQ(RunOnDay(2), dated ? RunOutcome::Ran : RunOutcome::Guarded);
    EXPECT_EQ(IsAlarmed(Job().Extras), dated);
    EXPECT_EQ(Lost(dated ? Temp.DriveD() / "09-02" : Dest()), 0);
  }
}

TEST_F(ChangeGuardTest, AnArchiveIsNotReplacedUnasked) {
  if (!Program.Context.Archiver.Present()) GTEST_SKIP() << "no archive program";
  MakeTree();
  AddJob(BackupType::Compressed);
  ASSERT_EQ(RunOnDay(0), RunOutcome::Ran);
  const fs::path archive = Dest() / "2009年09月01日01時.7z";
  const std::string good = ReadTestFile(archive);
  EncryptInPlace(0, kFiles);
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Guarded);
  EXPECT_TRUE(ReadTestFile(archive) == good);
  Program.Context.Force = true;
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_FALSE(ReadTestFile(archive) == good);
}

TEST_F(ChangeGuardTest, WhatIsAcceptedIsTakenByTheNextWholeRun) {
  MakeTree();
  AddJob(BackupType::Differential);
  ASSERT_EQ(RunOnDay(0), RunOutcome::Ran);
  EncryptInPlace(0, kFiles / 2);
  ASSERT_EQ(RunOnDay(1), RunOutcome::Guarded);
  AcceptChanges(Job().Extras);
  Program.Store.SaveJobs();
  ASSERT_TRUE(Program.ReloadJobs());
  EXPECT_EQ(RunOnDay(2), RunOutcome::Ran);
  EXPECT_EQ(TreeDifferences(Source(), Dest()), "");
  EncryptInPlace(kFiles / 2, kFiles);
  EXPECT_EQ(RunOnDay(3), RunOutcome::Guarded) << "and no more than that";
}

TEST_F(ChangeGuardTest, EverydayWorkNeverAsks) {
  MakeTree();
  for (int i = 0; i < 300; ++i)
    WriteTestFile(Source() / "small" / (std::to_string(i) + ".txt"), "x");
  AddJob(BackupType::Synchronise).Extras.GuardFewest = 10000;
  AddJob(BackupType::Full).Destination.Path = u"D:\\full\\";
  AddJob(BackupType::Differential).Destination.Path = u"D:\\<dd><hh>\\";
  int day = 0;
  const auto run = [&](const char* what) {
    SCOPED_TRACE(what);
    Clock.Set(*FromCivil(2009, 9, 1, 1) + std::chrono::days(++day));
    for (int job = 0; job < 3; ++job) {
      EXPECT_EQ(Program.RunJobNow(job), RunOutcome::Ran);
      const KnownChanges& known = Program.Store.Jobs[static_cast<std::size_t>(job)].Extras.Changes;
      EXPECT_EQ(known.Sure, 0);
      EXPECT_EQ(known.Alarm, kZeroDate);
    }
    EXPECT_TRUE(Host.Questions.empty());
  };
  run("the first backup");
  for (int i = 0; i < kFiles; ++i)
    WriteTestFile(Source() / NameOf(i), ContentOf(i + 300, "all anew "));
  run("every file is written anew");
  for (int i = 1; i < kFiles; i += 3) {
    fs::remove(Source() / NameOf(i));
    WriteTestFile((Source() / NameOf(i)).replace_extension(".webp"), "RIFF...." + Noise(3000, 7));
  }
  run("pictures are converted");
  for (int i = 0; i < kFiles; i += 3) {
    fs::rename(Source() / NameOf(i),
               Source() / ("f" + std::to_string(i / 12)) / ("renamed " + std::to_string(i)));
  }
  run("texts lose their suffixes");
  fs::rename(Source() / "f1", Source() / "moved");
  run("a folder is moved");
  for (int i = 0; i < 100; ++i) {
    WriteTestFile(Source() / "store" / std::to_string(i),
                  Noise(5000, 600U + static_cast<unsigned>(i)));
  }
  run("the encrypted store of another program");
  fs::remove_all(Source() / "f2");
  WriteTestFile(Source() / "f2.tar.gpg", "\x8C\x0D\x04\x09\x03\x02"s + Noise(90000, 8));
  run("a folder is packed and encrypted once");
  for (int i = 200; i < 203; ++i) {
    WriteTestFile(Source() / "small" / (std::to_string(i) + ".txt.gpg"),
                  "\x85\x01\x0C\x03"s + Noise(700, static_cast<unsigned>(i)));
    fs::remove(Source() / "small" / (std::to_string(i) + ".txt"));
  }
  run("some files are encrypted by hand");
  for (int i = 0; i < 100; ++i) {
    WriteTestFile(Source() / "small" / (std::to_string(i) + ".txt"),
                  Noise(100, static_cast<unsigned>(i)));
  }
  run("files too small to be told");
  WriteTestFile(Source() / "film.mkv", "\x1A\x45\xDF\xA3"s + Noise(60000, 9));
  run("a film");
  fs::remove(Source() / "film.mkv");
  for (int i = 1; i < 13; ++i) {
    WriteTestFile(Source() / ("film.mkv.part" + std::to_string(i)),
                  Noise(5000, static_cast<unsigned>(i)));
  }
  Clock.Set(*FromCivil(2009, 9, 1, 1) + std::chrono::days(++day));
  for (int job = 0; job < 3; ++job) EXPECT_EQ(Program.RunJobNow(job), RunOutcome::Ran);
  EXPECT_TRUE(Host.Questions.empty()) << "one file cut up is one file";
}

TEST(ContentKindTest, FormatsNoiseAndWhatOnlySeemsToBe) {
  const std::string noise = Noise(4096, 1), text = ContentOf(3);
  EXPECT_EQ(JudgeContent(u"a.jpg", "\xFF\xD8\xFF" + noise), ContentKind::Format);
  EXPECT_EQ(JudgeContent(u"a.TXT", text), ContentKind::Format);
  EXPECT_EQ(JudgeContent(u"a", text), ContentKind::Plain);
  EXPECT_EQ(JudgeContent(u"a.jpg", noise), ContentKind::Noise);
  EXPECT_EQ(JudgeContent(u"a.txt", text.substr(0, 500) + noise), ContentKind::Noise)
      << "a header before it";
  EXPECT_EQ(JudgeContent(u"a.txt", "\x1F\x8B\x08" + noise), ContentKind::Plain) << "packed";
  EXPECT_EQ(JudgeContent(u"a", "\0\0\0\x0CJXL "s + noise), ContentKind::Plain);
  EXPECT_EQ(JudgeContent(u"a.kdbx", "\x03\xD9\xA2\x9A" + noise), ContentKind::Format);
  EXPECT_EQ(JudgeContent(u"a.txt", "age-encryption.org/v1\n" + noise), ContentKind::Sealed);
  EXPECT_EQ(JudgeContent(u"a.txt", noise.substr(0, 255)), ContentKind::Plain) << "too short";
  std::string table;
  for (int i = 0; i < 4096; ++i) table += static_cast<char>(i);
  EXPECT_EQ(JudgeContent(u"a.dat", table), ContentKind::Plain);
  int random = 0;
  for (unsigned seed = 0; seed < 300; ++seed) {
    for (const std::size_t size : {256, 300, 1000, 4096}) {
      random += JudgeContent(u"a.txt", Noise(size, seed)) == ContentKind::Noise;
    }
  }
  EXPECT_GE(random, 1195) << "of 1200";
  EXPECT_TRUE(HasKnownFormat(u"x.JPG") && HasKnownFormat(u"x.md"));
  EXPECT_FALSE(HasKnownFormat(u"x.locked") || HasKnownFormat(u"README") || HasKnownFormat(u".txt"));
}

}  // namespace
}  // namespace kavrel
