#include "core/extras_file.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "core/job_store.h"
#include "platform/code_page.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class ExtrasFileTest : public testing::Test {
 protected:
  TempFolder temp_;
  JobStore store_{temp_.Files()};
  fs::path path_ = temp_.Home() / "Backup.ext";

  static BackupJob Job(std::u16string name, std::u16string destination = u"D:\\目標\\") {
    BackupJob job;
    job.Name = std::move(name);
    job.Source.Path = u"C:\\來源\\";
    job.Destination.Path = std::move(destination);
    return job;
  }
  static JobExtras All() {
    JobExtras extras;
    extras.GuardMirror = extras.CheckSpace = extras.KeepHardLinks = false;
    extras.UnfinishedName = extras.KeepSums = extras.GuardChanges = false;
    extras.StateLinks = LinkStates::Reflink;
    extras.GuardPercent = 7;
    extras.GuardFewest = 8;
    extras.KeepNewest = 9;
    extras.RecoveryPercent = 100;
    extras.VerifyAfterRun = extras.NotBegun = extras.Unseen = true;
    extras.MirroredTo = u"D:\\目標\\來源";
    extras.Mounts = {{true, u"/media/碟", {u"1a-2b:/", u"C3D4:/a b"}}, {false, u"/", {}}};
    extras.StateFiles = 12345;
    extras.SourceBytes = std::uint64_t{1} << 50;
    extras.TimeMoved = *FromCivil(2009, 9, 23, 15, 4, 5);
    extras.LargestFile = 4096;
    extras.SourceDiskBytes = 8192;
    extras.Id = u"0123456789abcdef0123456789abcdef";
    extras.Adopt = true;
    extras.Made = {u"D:\\1\\", u"D:\\2\\"};
    extras.Bad = true;
    extras.LastGood = *FromCivil(2009, 9, 22, 1, 2, 3);
    extras.BadBy = BadEnd::Place;
    extras.Changes = {
        1984,         1, 2, 3, *FromCivil(2009, 9, 23, 1, 2, 3), *FromCivil(2009, 9, 24, 1, 2, 3),
        u"D:\\a\tb\\"};
    extras.Unbegun = {{*FromCivil(2009, 9, 23), UnbegunRun::Cause::NoSource, u"a\tb\\c 碟"},
                      {*FromCivil(2009, 9, 24), UnbegunRun::Cause::NoArchiver, u""}};
    extras.Verified = {{u"D:\\1\\", *FromCivil(2009, 9, 24), 3}};
    const KnownPlaces& known = extras;
    extras.Former = {{{u"C:\\來源\\", u"D:\\a\tb\\"}, known}, {{u"/a", u"/b"}, {}}};
    return extras;
  }
};

TEST_F(ExtrasFileTest, EveryFieldIsKeptAndTheStoreStaysAsItIs) {
  store_.Jobs = {Job(u"a")};
  ASSERT_TRUE(store_.SaveJobs());
  EXPECT_FALSE(fs::exists(path_)) << "nothing but defaults needs no file";
  const std::string line = ReadTestFile(temp_.Home() / "Backup.rtm");
  store_.Jobs.push_back(Job(u" say \"hi\" "));
  store_.Jobs[1].Extras = All();
  ASSERT_TRUE(store_.SaveJobs());
  EXPECT_TRUE(ReadTestFile(temp_.Home() / "Backup.rtm").starts_with(line));
  const std::string written = ReadTestFile(path_);

  JobStore again(temp_.Files());
  ASSERT_TRUE(again.LoadJobs());
  EXPECT_EQ(again.Jobs[0].Extras, JobExtras());
  EXPECT_EQ(again.Jobs[1].Extras, All());
  ASSERT_TRUE(again.SaveJobs());
  EXPECT_EQ(ReadTestFile(path_), written);
  again.Jobs[1].Deleted = true;
  ASSERT_TRUE(again.SaveJobs());
  EXPECT_EQ(ReadTestFile(path_).find("[job]"), std::string::npos);
}

TEST_F(ExtrasFileTest, NoJobGetsTheExtrasOfAnother) {
  using Kept = std::vector<std::int32_t>;
  const auto load = [&](const std::vector<BackupJob>& jobs) {
    std::u16string lines;
    for (const BackupJob& job : jobs) lines += FormatJobLine(job) + u"\r\n";
    WriteTestFile(temp_.Home() / "Backup.rtm", *EncodeCodePage(lines));
    EXPECT_TRUE(store_.LoadJobs());
    Kept kept;
    for (const BackupJob& job : store_.Jobs) kept.push_back(job.Extras.KeepNewest);
    return kept;
  };
  BackupJob mirror = Job(u"same"), plain = Job(u"same"), other = Job(u"same");
  SetJobType(mirror, BackupType::Synchronise);
  SetJobType(other, BackupType::Differential);
  store_.Jobs = {Job(u"a"), plain, mirror};
  store_.Jobs[0].Extras.KeepNewest = 1;
  store_.Jobs[2].Extras.KeepNewest = 2;
  ASSERT_TRUE(store_.SaveJobs());
  // Of two that are alike, the one that has nothing must not get what the other has.
  mirror.LastRun = *FromCivil(2009, 9, 22);
  EXPECT_EQ(load({Job(u"a"), plain, mirror}), (Kept{1, 0, 2}));
  // Another program, which knows only the store, moves jobs, takes one away, adds others.
  EXPECT_EQ(load({mirror, plain, Job(u"a", u"D:\\other\\"), Job(u"A")}), (Kept{2, 0, 0, 0}));
  EXPECT_EQ(load({other, mirror, other}), (Kept{0, 2, 0}));
  EXPECT_EQ(load({plain}), (Kept{0}));
  // Where nothing tells them apart, none gets anything.
  EXPECT_EQ(load({mirror, mirror}), (Kept{0, 0}));
  // Nor from a file of a version that told them apart by their order alone.
  WriteTestFile(path_,
                "[job]\nName=same\nSource=C:\\來源\\\nDestination=D:\\目標\\\n"
                "GuardMirror=0\nKeepNewest=3\nUnfinished=x\n");
  EXPECT_EQ(load({plain, mirror}), (Kept{0, 0}));
  EXPECT_EQ(load({mirror}), (Kept{3}));
  EXPECT_TRUE(store_.Jobs[0].Extras.OtherLines.empty());
}

TEST_F(ExtrasFileTest, UnknownLinesStayAndWhatIsOutOfRangeIsTheDefault) {
  store_.Jobs = {Job(u"a")};
  ASSERT_TRUE(store_.SaveJobs());
  WriteTestFile(path_,
                "\xEF\xBB\xBF# mine\n[job]\nDestination=D:\\目標\\\nName=a\nSource=C:\\來源\\\n"
                "Color=red\n; note\n\nGuardPercent=101\nGuardMirror=2\nKeepNewest=-1\n"
                "SourceBytes=x\nGuardFewest=5\n");
  ASSERT_TRUE(store_.LoadJobs());
  JobExtras expected;
  expected.GuardFewest = 5;
  expected.OtherLines = {u"Color=red", u"; note"};
  EXPECT_EQ(store_.Jobs[0].Extras, expected);
  ASSERT_TRUE(store_.SaveJobs());
  const std::string saved = ReadTestFile(path_);
  const std::size_t at = saved.find("Like=") + 5;
  const std::string like = saved.substr(at, saved.find('\r', at) - at);
  EXPECT_FALSE(like.empty());
  EXPECT_EQ(saved,
            "# mine\r\n# The last line is "
            "[end].\r\n\r\n[job]\r\nName=a\r\nSource=C:\\來源\\\r\nDestination=D:\\目標\\\r\n"
            "Like=" +
                like + "\r\nGuardFewest=5\r\nColor=red\r\n; note\r\n\r\n[end]\r\n");
  EXPECT_TRUE(fs::exists(temp_.Home() / "other_Backup.ext")) << "values that were not taken";
}

TEST_F(ExtrasFileTest, WhatIsDamagedIsKeptBeforeAnythingIsSavedAndCostsNoOtherJobItsSettings) {
  const fs::path other = temp_.Home() / "other_Backup.ext";
  std::vector<BackupJob> jobs;
  for (const std::int32_t i : {0, 1, 2}) {
    jobs.push_back(Job(std::u16string(3, static_cast<char16_t>(u'a' + i))));
    jobs.back().Extras = All();
    jobs.back().Extras.KeepNewest = 1111 * (i + 1);
  }
  store_.Jobs = jobs;
  ASSERT_TRUE(store_.SaveJobs());
  const std::string whole = ReadTestFile(path_);
  std::vector<std::size_t> begins;
  for (std::size_t at = whole.find("[job]"); at != whole.npos; at = whole.find("[job]", at + 1)) {
    begins.push_back(at);
  }
  ASSERT_EQ(begins.size(), 3U);
  begins.push_back(whole.find("\r\n[end]"));
  int kept = 0;
  store_.Extras().Kept = [&](auto, auto) { ++kept; };
  /// What is damaged lies between the two.
  const auto survives = [&](const std::string& damaged, std::size_t from, std::size_t to) {
    SCOPED_TRACE(from);
    WriteTestFile(path_, damaged);
    fs::remove(other);
    kept = 0;
    ASSERT_TRUE(store_.LoadJobs());
    for (std::size_t i = 0; i < jobs.size(); ++i) {
      const JobExtras& extras = store_.Jobs[i].Extras;
      // Without the line break before it, it does not begin.
      const bool touched = from < begins[i + 1] && to + 2 > begins[i];
      EXPECT_TRUE(touched || extras == jobs[i].Extras) << i;
      EXPECT_TRUE(extras.KeepNewest == jobs[i].Extras.KeepNewest || extras.KeepNewest == 0) << i;
    }
    ASSERT_TRUE(store_.SaveJobs());
    EXPECT_EQ(kept, 1);
    EXPECT_EQ(ReadTestFile(other), damaged);
    ASSERT_TRUE(store_.LoadJobs());
    ASSERT_TRUE(store_.SaveJobs());
    EXPECT_EQ(kept, 1) << "what is saved is whole";
  };
  constexpr std::size_t kBlock = 23;
  for (std::size_t at = 0; at + kBlock < whole.size(); at += kBlock) {
    std::string damaged = whole;
    damaged.replace(at, kBlock, std::string(kBlock, '\0'));
    survives(damaged, at, at + kBlock);
    if (at > 0) survives(whole.substr(0, at), at, whole.size());
    // Two sections may have become one.
    damaged = whole;
    const std::size_t length = std::min(whole.size() - at, begins[2] - begins[1]);
    survives(damaged.replace(at, length, std::string("\0\xFFjunk=x\r\n", 10)), at, at + length);
  }
  // Half of what belongs to another store is not taken.
  ASSERT_TRUE(store_.LoadJobs());
  WriteTestFile(path_, whole);
  ASSERT_EQ(store_.ExportJobs(u"D:\\"), 0);
  for (std::size_t length = 0; length < whole.size(); length += 5) {
    WriteTestFile(temp_.DriveD() / "Backup.ext", whole.substr(0, length));
    EXPECT_EQ(store_.CheckImport(u"D:\\Backup.rtm"), kErrExtrasDamaged) << length;
    EXPECT_EQ(store_.ImportJobs(u"D:\\Backup.rtm"), kErrExtrasDamaged) << length;
  }
  EXPECT_EQ(ReadTestFile(path_), whole);
  WriteTestFile(temp_.DriveD() / "Backup.ext", whole);
  EXPECT_EQ(store_.CheckImport(u"D:\\Backup.rtm"), 0);
  EXPECT_EQ(store_.ImportJobs(u"D:\\Backup.rtm"), 0);
  EXPECT_EQ(store_.Jobs[2].Extras.KeepNewest, 3333);
}

TEST_F(ExtrasFileTest, AFileThatCannotBeReadIsNeverWrittenOver) {
  store_.Jobs = {Job(u"a")};
  ASSERT_TRUE(store_.SaveJobs());
  fs::create_directory(path_);
  ASSERT_TRUE(store_.LoadJobs());
  EXPECT_TRUE(store_.SaveJobs());
  fs::remove(path_);
  WriteTestFile(path_, "precious");
  store_.Jobs[0].Extras.KeepNewest = 3;
  EXPECT_FALSE(store_.SaveJobs());
  EXPECT_EQ(store_.LastError(), EISDIR);
  EXPECT_EQ(ReadTestFile(path_), "precious");
}

TEST_F(ExtrasFileTest, AnUpgradeTrustsOldMirrorsAndExtrasTravelWithTheStore) {
  store_.Jobs = {Job(u"mirror"), Job(u"new")};
  for (BackupJob& job : store_.Jobs) SetJobType(job, BackupType::Synchronise);
  store_.Jobs[0].LastRun = *FromCivil(2009, 9, 22);
  store_.Jobs[0].AddSourceFolder = true;
  ASSERT_TRUE(store_.SaveJobs());
  ASSERT_TRUE(store_.LoadJobs());
  EXPECT_EQ(store_.Jobs[0].Extras.MirroredTo, u"D:\\目標\\來源");
  EXPECT_EQ(store_.Jobs[1].Extras.MirroredTo, u"");

  store_.Jobs[1].Extras = All();
  ASSERT_TRUE(store_.SaveJobs());
  ASSERT_EQ(store_.ExportJobs(u"D:\\"), 0);
  store_.Jobs[1].Extras = {};
  ASSERT_TRUE(store_.SaveJobs());
  const std::string before = ReadTestFile(path_);
  ASSERT_EQ(store_.ImportJobs(u"D:\\Backup.rtm"), 0);
  // The settings come along; what another installation's jobs have made is not these jobs'.
  JobExtras expected = All();
  expected.Id.clear();
  expected.MirroredTo.clear();
  expected.Adopt = false;
  expected.Made.clear();
  expected.Bad = false;
  expected.LastGood = kZeroDate;
  expected.BadBy = BadEnd::Other;
  expected.Unbegun.clear();
  expected.Verified.clear();
  expected.Changes = {};
  expected.Former[0].Known.Made.clear();
  expected.Former[0].Known.Verified.clear();
  expected.Former[0].Known.Changes = {};
  EXPECT_EQ(store_.Jobs[1].Extras, expected);
  EXPECT_EQ(ReadTestFile(temp_.Home() / "old_Backup.ext"), before);
}

TEST_F(ExtrasFileTest, ASaveThatBreaksOffBetweenTheTwoFilesCostsNoSettings) {
  const fs::path store_path = temp_.Home() / "Backup.rtm";
  store_.Jobs = {Job(u"a"), Job(u"b")};
  store_.Jobs[0].Extras = store_.Jobs[1].Extras = All();
  ASSERT_TRUE(store_.SaveJobs());
  store_.Jobs[0].Name = u"renamed";
  store_.Jobs[1].Extras.KeepNewest = 3;
  fs::rename(store_path, temp_.Home() / "kept");
  fs::create_directory(store_path);
  EXPECT_FALSE(store_.SaveJobs());
  const std::string between = ReadTestFile(path_);
  fs::remove(store_path);
  fs::rename(temp_.Home() / "kept", store_path);
  JobStore before(temp_.Files());
  ASSERT_TRUE(before.LoadJobs());
  EXPECT_EQ(before.Jobs[0].Extras, All());
  EXPECT_EQ(before.Jobs[1].Extras.KeepNewest, 3);

  ASSERT_TRUE(store_.SaveJobs());
  EXPECT_EQ(ReadTestFile(path_).find("=a\r"), std::string::npos) << "what is out of date goes";
  WriteTestFile(path_, between);
  JobStore after(temp_.Files());
  ASSERT_TRUE(after.LoadJobs());
  EXPECT_EQ(after.Jobs[0].Extras, All());
  EXPECT_EQ(after.Jobs[1].Extras.KeepNewest, 3);

  // Somebody else's version of it is not lost either.
  WriteTestFile(path_, "theirs");
  ASSERT_TRUE(after.SaveJobs());
  EXPECT_EQ(ReadTestFile(temp_.Home() / "other_Backup.ext"), "theirs");
}

TEST_F(ExtrasFileTest, AStoreTravelsWithItsOwnExtrasOrWithNone) {
  const fs::path exported = temp_.DriveD() / "Backup.ext";
  store_.Jobs = {Job(u"a")};
  ASSERT_TRUE(store_.SaveJobs());
  WriteTestFile(exported, "of another store");
  ASSERT_EQ(store_.ExportJobs(u"D:\\"), 0);
  EXPECT_FALSE(fs::exists(exported));
  store_.Jobs[0].Extras.KeepNewest = 4;
  ASSERT_TRUE(store_.SaveJobs());
  const std::string ours = ReadTestFile(path_);

  fs::create_directory(exported);
  EXPECT_NE(store_.ImportJobs(u"D:\\Backup.rtm"), 0) << "extras that cannot be read";
  EXPECT_EQ(ReadTestFile(path_), ours);
  fs::remove(exported);
  ASSERT_EQ(store_.ImportJobs(u"D:\\Backup.rtm"), 0);
  EXPECT_EQ(store_.Jobs[0].Extras.KeepNewest, 0);
  EXPECT_EQ(ReadTestFile(temp_.Home() / "old_Backup.ext"), ours);
}

}  // namespace
}  // namespace kavrel
