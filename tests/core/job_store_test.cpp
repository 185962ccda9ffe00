#include "core/job_store.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>

#include "base/text.h"
#include "platform/code_page.h"
#include "platform/error_codes.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class JobStoreTest : public testing::Test {
 protected:
  TempFolder temp_;
  JobStore store_{temp_.Files()};
  fs::path path_ = temp_.Home() / "Backup.rtm";

  static std::string Bytes(std::u16string_view text) { return *EncodeCodePage(text); }

  static BackupJob FullJob() {
    BackupJob job;
    job.Enabled = job.IncludeSubfolders = job.Differential = job.Synchronise = true;
    job.Name = u"文件 備份";
    job.Source.Path = u"C:\\文件\\";
    job.Destination.Path = u"\\\\server\\備份\\<yy>\\";
    job.FileTypes = u"*.doc;*.xls";
    job.NextRun = *FromCivil(2009, 9, 23, 15, 4, 5);
    job.EveryHours = 2;
    job.ExcludeFileTypes = true;
    job.RefusedDays = 2 + 64 + 128;
    job.LastRun = *FromCivil(2009, 9, 22);
    job.UseRecycleBin = job.LimitFileSize = job.UsePassword = true;
    job.MaxFileSizeKB = 100;
    job.Password = u"秘密 p&\"w";
    return job;
  }
};

constexpr std::u16string_view kFullLine =
    u"1\t文件 備份\t1\t0\tC:\\文件\\\t\\\\server\\備份\\<yy>\\\t1\t*.doc;*.xls\t"
    u"2009/9/23 下午 03:04:05\t0\t2\t0\t0\t0\t1\t194\t2009/9/22\t1\t1\t1\t100\t1\t秘密 "
    u"p&\"w\t0\t\r\n";

TEST_F(JobStoreTest, WritesTheLineToTheByteAndReadsItBack) {
  store_.Jobs = {FullJob()};
  store_.Jobs[0].Name = u"  文件 備份 ";
  ASSERT_TRUE(store_.SaveJobs());
  EXPECT_EQ(ReadTestFile(path_), Bytes(kFullLine));

  JobStore again(temp_.Files());
  ASSERT_TRUE(again.LoadJobs());
  ASSERT_EQ(again.Jobs.size(), 1U);
  const BackupJob& job = again.Jobs[0];
  EXPECT_EQ(job.JobIndex, 0);
  EXPECT_EQ(job.JobNumber, 1);
  EXPECT_EQ(job.Destination.Kind, 2);
  EXPECT_EQ(FormatJobLine(job) + u"\r\n", kFullLine);
  EXPECT_TRUE(again.SaveJobs());
  EXPECT_EQ(ReadTestFile(path_), Bytes(kFullLine));
}

TEST_F(JobStoreTest, ShortLinesGetDefaultsAndTooShortOnesAreDropped) {
  const std::u16string fourteen =
      u"1\tsay \"hi\"\t1\t0\tD:\\a\\\tE:\\b\\\t0\t\t40079.5\tx\t0\t1\t0\t0";
  WriteTestFile(path_, Bytes(u"\r\n" + fourteen.substr(0, fourteen.rfind(u'\t')) + u"\r\n" +
                             fourteen + u"\n\r\n" + std::u16string(kFullLine) + u"no line end"));
  ASSERT_TRUE(store_.LoadJobs());
  ASSERT_EQ(store_.Jobs.size(), 2U);
  const BackupJob& job = store_.Jobs[0];
  EXPECT_EQ(job.Name, u"say 'hi'");
  EXPECT_EQ(job.FileTypes, u"*.*");
  EXPECT_EQ(job.NextRun, *FromCivil(2009, 9, 23, 12));
  EXPECT_EQ(job.EveryMinutes, 0);
  EXPECT_EQ(job.EveryDays, 1);
  EXPECT_FALSE(job.ExcludeFileTypes || job.Synchronise || job.UseRecycleBin || job.LimitFileSize ||
               job.UsePassword);
  EXPECT_EQ(job.RefusedDays, 0);
  EXPECT_EQ(job.LastRun, kZeroDate);
  EXPECT_EQ(job.Password, u"40718");
  EXPECT_TRUE(job.AddSourceFolder);
  EXPECT_EQ(store_.Jobs[1].JobIndex, 1);
}

TEST_F(JobStoreTest, WhatCannotBeUnderstoodIsKeptBeforeAnythingIsSaved) {
  const std::string line = Bytes(kFullLine);
  const auto kept_after_save = [&](const std::string& file) {
    fs::remove(temp_.Home() / "other_Backup.rtm");
    WriteTestFile(path_, file);
    EXPECT_TRUE(store_.LoadJobs() && store_.SaveJobs());
    EXPECT_EQ(ReadTestFile(path_), line);
    store_.Jobs[0].Enabled = false;
    EXPECT_TRUE(store_.SaveJobs());
    const fs::path kept = temp_.Home() / "other_Backup.rtm";
    return fs::exists(kept) ? ReadTestFile(kept) : std::string("nothing");
  };
  EXPECT_EQ(kept_after_save(line + "\r\n \r\n"), "nothing");
  EXPECT_EQ(kept_after_save(line + "a note\r\n"), line + "a note\r\n");
  for (const auto& [from, to] : {std::pair("\t2009/9/22\t", "\t1899/12/30 9pm x\t"),
                                 std::pair("\t0\t\r\n", "\t0\tmore\r\n")}) {
    std::string changed = line;
    changed.replace(changed.find(from), std::string_view(from).size(), to);
    fs::remove(temp_.Home() / "other_Backup.rtm");
    WriteTestFile(path_, changed);
    EXPECT_TRUE(store_.LoadJobs() && store_.SaveJobs());
    EXPECT_EQ(ReadTestFile(temp_.Home() / "other_Backup.rtm"), changed);
  }
}

TEST_F(JobStoreTest, ReadsWhatOtherEditorsSave) {
  const std::u16string text = std::u16string(kFullLine) + std::u16string(kFullLine);
  std::string little = "\xFF\xFE", big = "\xFE\xFF";
  for (const char16_t c : text) {
    ((little += static_cast<char>(c & 0xFF)) += static_cast<char>(c >> 8));
    ((big += static_cast<char>(c >> 8)) += static_cast<char>(c & 0xFF));
  }
  for (const std::string& file :
       {little, big, ToUtf8(text), ToUtf8(ReplaceAll(text, u"\r\n", u"\r")),
        Bytes(ReplaceAll(text, u"\r\n", u"\r"))}) {
    WriteTestFile(path_, file);
    EXPECT_TRUE(store_.LoadJobs());
    ASSERT_EQ(store_.Jobs.size(), 2U);
    EXPECT_EQ(FormatJobLine(store_.Jobs[1]) + u"\r\n", kFullLine);
    EXPECT_TRUE(store_.SaveJobs());
    EXPECT_EQ(ReadTestFile(path_), Bytes(text));
    EXPECT_FALSE(fs::exists(temp_.Home() / "other_Backup.rtm"));
  }
}

TEST_F(JobStoreTest, GarbageOfEveryKindIsSurvived) {
  std::string garbage("\0\xFF\t\xA4\n", 5);
  garbage += std::string(1000000, 'x') + "\r\n";
  garbage += std::string(1000000, '\t') + "\r\n";
  std::string line = Bytes(kFullLine);
  line.insert(line.find(".doc"), std::string("\0\xFE\xFF", 3));
  WriteTestFile(path_, garbage + line);
  ASSERT_TRUE(store_.LoadJobs());
  // The line of tabs alone has enough fields to be a job with nothing in it.
  ASSERT_EQ(store_.Jobs.size(), 2U);
  ASSERT_TRUE(store_.SaveJobs());
  EXPECT_NE(ReadTestFile(path_).find(line), std::string::npos) << "strange bytes were lost";
}

TEST_F(JobStoreTest, CharactersBeyondTheCodePageMakeTheFileUtf8SoThatNoFolderIsLost) {
  store_.Jobs = {FullJob(), FullJob()};
  store_.Jobs[0].Source.Path = FromUtf8("/home/\xE5\xA4\x87\xE4\xBB\xBD/\xFF\xA4\xA4/");
  ASSERT_TRUE(store_.SaveJobs());
  EXPECT_TRUE(ReadTestFile(path_).starts_with("\xEF\xBB\xBF"));
  JobStore again(temp_.Files());
  ASSERT_TRUE(again.LoadJobs());
  EXPECT_EQ(again.Jobs[0].Source.Path, store_.Jobs[0].Source.Path);
  EXPECT_EQ(FormatJobLine(again.Jobs[1]), FormatJobLine(store_.Jobs[1]));
}

TEST_F(JobStoreTest, TextThatWouldBreakTheLineApartIsFlattened) {
  store_.Jobs = {FullJob()};
  store_.Jobs[0].Name = u"a\tb\r\nc";
  ASSERT_TRUE(store_.SaveJobs());
  ASSERT_TRUE(store_.LoadJobs());
  EXPECT_EQ(store_.Jobs[0].Name, u"a b  c");
}

TEST_F(JobStoreTest, DeletedJobsGoFromTheFileOnly) {
  store_.Jobs = {FullJob()};
  store_.Jobs[0].Deleted = true;
  ASSERT_TRUE(store_.SaveJobs());
  EXPECT_EQ(ReadTestFile(path_), "");
  EXPECT_EQ(store_.Jobs.size(), 1U);
  EXPECT_EQ(store_.FindJob(u"文件 備份"), -1);
  EXPECT_FALSE(store_.LoadJobs());
  EXPECT_EQ(store_.LastError(), 0);
}

TEST_F(JobStoreTest, AStoreThatCannotBeReadIsNeverWrittenOver) {
  EXPECT_FALSE(store_.LoadJobs());  // missing
  EXPECT_EQ(store_.LastError(), 0);
  fs::create_directory(path_);
  EXPECT_FALSE(store_.LoadJobs());
  EXPECT_EQ(store_.LastError(), kErrIsFolder);
  fs::remove(path_);
  // Whatever comes to stand there now may be what could not be read before.
  WriteTestFile(path_, Bytes(kFullLine));
  EXPECT_FALSE(store_.SaveJobs());
  EXPECT_EQ(ReadTestFile(path_), Bytes(kFullLine));
  EXPECT_TRUE(store_.LoadJobs());
  EXPECT_TRUE(store_.SaveJobs());
}

TEST_F(JobStoreTest, AReadOnlyStoreStaysAsItIs) {
  WriteTestFile(path_, Bytes(kFullLine));
  ASSERT_TRUE(store_.LoadJobs());
  ASSERT_EQ(chmod(path_.c_str(), 0444), 0);
  store_.Jobs.clear();
  EXPECT_FALSE(store_.SaveJobs());
  EXPECT_EQ(store_.LastError(), kErrAccess);
  EXPECT_EQ(ReadTestFile(path_), Bytes(kFullLine));
}

TEST_F(JobStoreTest, ASaveThatBreaksOffLeavesTheOldFileAndNothingElse) {
  WriteTestFile(path_, Bytes(kFullLine));
  ASSERT_TRUE(store_.LoadJobs());
  store_.Jobs.resize(100, store_.Jobs[0]);
  // A file may not grow beyond a few lines, as on a disk that fills up meanwhile.
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit small{1000, limit.rlim_max};
  const auto old_handler = signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const bool saved = store_.SaveJobs();
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  signal(SIGXFSZ, old_handler);
  EXPECT_FALSE(saved);
  EXPECT_EQ(store_.LastError(), EFBIG);
  EXPECT_EQ(ReadTestFile(path_), Bytes(kFullLine));
  for (const auto& entry : fs::directory_iterator(temp_.Home())) {
    EXPECT_TRUE(entry.path() == path_ || entry.is_directory()) << entry.path();
  }
  EXPECT_TRUE(store_.SaveJobs());
}

TEST_F(JobStoreTest, AnImportKeepsTheOldStoreBesideItAndAnExportIsTheWholeFile) {
  WriteTestFile(path_, Bytes(kFullLine));
  ASSERT_TRUE(store_.LoadJobs());
  EXPECT_EQ(store_.ExportJobs(u"D:\\"), 0);
  EXPECT_EQ(ReadTestFile(temp_.DriveD() / "Backup.rtm"), Bytes(kFullLine));
  EXPECT_EQ(store_.ExportJobs(u"D:\\none"), kErrNotFound);

  EXPECT_EQ(store_.ImportJobs(u"D:\\other.rtm"), kErrNotFound);
  fs::create_directory(temp_.DriveD() / "other.rtm");
  EXPECT_EQ(store_.ImportJobs(u"D:\\other.rtm"), kErrIsFolder);
  EXPECT_EQ(ReadTestFile(path_), Bytes(kFullLine)) << "what cannot be read replaces nothing";
  fs::remove(temp_.DriveD() / "other.rtm");
  for (const std::string& none : {std::string(), std::string("a letter\r\n"),
                                  std::string(30, '\t') + "\r\n", std::string("\0\1\2", 3)}) {
    WriteTestFile(temp_.DriveD() / "other.rtm", none);
    EXPECT_EQ(store_.ImportJobs(u"D:\\other.rtm"), kErrNoJobs);
    EXPECT_EQ(ReadTestFile(path_), Bytes(kFullLine));
    EXPECT_FALSE(fs::exists(temp_.Home() / "old_Backup.rtm"));
  }

  const std::string other = Bytes(std::u16string(kFullLine) + std::u16string(kFullLine));
  // Half a copy of a store, wherever it breaks off in its last line.
  const std::size_t line = Bytes(kFullLine).size();
  for (std::size_t length = line + 1; length + 2 < other.size(); ++length) {
    WriteTestFile(temp_.DriveD() / "other.rtm", other.substr(0, length));
    EXPECT_EQ(store_.ImportJobs(u"D:\\other.rtm"), kErrBreaksOff) << length;
  }
  EXPECT_EQ(ReadTestFile(path_), Bytes(kFullLine));
  WriteTestFile(temp_.DriveD() / "other.rtm", other);
  ASSERT_EQ(chmod((temp_.DriveD() / "other.rtm").c_str(), 0444), 0);
  EXPECT_EQ(store_.ImportJobs(u"D:\\other.rtm"), 0);
  EXPECT_EQ(store_.Jobs.size(), 2U);
  EXPECT_EQ(ReadTestFile(temp_.Home() / "old_Backup.rtm"), Bytes(kFullLine));
  EXPECT_TRUE(store_.SaveJobs()) << "a store from a read-only disk can be written here";

  WriteTestFile(path_, "present");
  EXPECT_EQ(store_.ImportJobs(u"D:\\Backup.rtm"), 0);
  EXPECT_EQ(store_.Jobs.size(), 1U) << "a second import goes on although the old name is taken";
  EXPECT_EQ(ReadTestFile(temp_.Home() / "old_Backup.rtm"), Bytes(kFullLine));
  EXPECT_EQ(ReadTestFile(temp_.Home() / "other_Backup.rtm"), "present");
  EXPECT_TRUE(store_.KeptAs().ends_with(u"other_Backup.rtm"));
}

TEST_F(JobStoreTest, FilesWithPasswordsAreForTheirOwnerAlone) {
  store_.Jobs = {FullJob()};
  ASSERT_TRUE(store_.SaveJobs());
  ASSERT_EQ(store_.ExportJobs(u"D:\\"), 0);
  ASSERT_EQ(store_.ImportJobs(u"D:\\Backup.rtm"), 0);
  WriteTestFile(path_, "theirs");
  ASSERT_TRUE(store_.SaveJobs());
  for (const fs::path& path :
       {path_, temp_.DriveD() / "Backup.rtm", temp_.Home() / "old_Backup.rtm",
        temp_.Home() / "other_Backup.rtm"}) {
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write)
        << path;
  }
}

}  // namespace
}  // namespace kavrel
