#include "archive/archiver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "archive/list_file.h"
#include "base/text.h"
#include "platform/clock.h"
#include "support/command.h"
#include "support/temp_folder.h"

namespace kavrel {
namespace {

TEST(SevenZip, TechnicalListingIsReadWithLargeSizesAndStrangeLines) {
  const SevenZipLibrary::Archive archive = ReadTechnicalListing(
      "Type = 7z\n\n----------\nPath = 大檔.bin\nSize = 5368709121\nPacked Size = 53687091\n"
      "Modified = 2009-09-23 15:04:05.1234567\nAttributes = A -rw-r-----\nCRC = 00abCDef\n"
      "Encrypted = +\nMethod = LZMA:23\nBlock = 0\nno field here\n\n"
      "Path = d\nFolder = +\nAttributes = D drwxr-xr-x\n\nPath = l\nAttributes = A lrwxrwxrwx\n"
      "Modified = nonsense\nSize = 18446744073709551616\n");
  ASSERT_EQ(archive.Entries.size(), 3U);
  EXPECT_EQ(archive.Type, 2);
  const IndividualInfo& entry = archive.Entries[0];
  EXPECT_EQ(entry.FileName, u"大檔.bin");
  EXPECT_EQ(entry.OriginalSize, 5368709121U);
  EXPECT_EQ(entry.Ratio, 9);
  EXPECT_EQ(entry.Crc, 0xABCDEFU);
  EXPECT_TRUE(entry.Encrypted && !entry.IsFolder && !entry.IsLink);
  const CivilTime local = ToCivil(LocalTime(entry.Modified));
  EXPECT_EQ(entry.Date, (local.Year - 1980) << 9 | local.Month << 5 | local.Day);
  EXPECT_EQ(entry.Time, local.Hour << 11 | local.Minute << 5 | local.Second / 2);
  EXPECT_EQ(entry.Modified.Nanoseconds, 123456700);
  EXPECT_EQ(entry.Modified.Seconds, 1253718245) << "the listing is in UTC";
  EXPECT_TRUE(archive.Entries[1].IsFolder);
  EXPECT_TRUE(archive.Entries[2].IsLink);
  EXPECT_TRUE(
      ReadTechnicalListing(std::string_view("\0 = \n----------\nSize = 1", 24)).Entries.empty());
}

TEST(ClsArc, ACommandAtWorkIsFollowedUntilItsMonitorEndsIt) {
  class Impatient final : public ArchiveMonitor {
   public:
    bool Working(int percent, std::u16string_view current) override {
      Percent = std::max(Percent, percent);
      if (!current.empty()) Current = current;
      return ++Calls < Patience;
    }
    int Percent = 0, Calls = 0, Patience = 1000000;
    std::u16string Current;
  };
  const TempFolder temp;
  const SevenZipLibrary library(temp.Files());
  // Nothing that repeats: the command must be at work long enough to be followed.
  std::string noise(8000000, '\0');
  std::minstd_rand random;
  for (char& c : noise) c = static_cast<char>(random() >> 16);
  WriteTestFile(temp.DriveC() / "雜 訊", noise);
  Impatient monitor;
  ClsArc archiver(library, temp.Files());
  archiver.Command = u"a";
  archiver.Switch = u"-t7z -m0=LZMA";
  archiver.param1 = u"D:\\a.7z";
  archiver.param2 = u"C:\\";
  archiver.Param3 = u"@" + WriteListFile(temp.Files(), ListLine(u"雜 訊") + "\r\n");
  archiver.Monitor = &monitor;
  EXPECT_EQ(archiver.DoCommand(kSevenZipKind), 0);
  EXPECT_GT(monitor.Percent, 0);
  EXPECT_EQ(monitor.Current, u"雜 訊");
  EXPECT_EQ(archiver.ArcName, u"D:\\a.7z");
  EXPECT_EQ(archiver.pFileSize, 100U);
  EXPECT_EQ(archiver.CheckFile(u"D:\\a.7z"), kSevenZipKind);

  archiver.param1 = u"D:\\b.7z";
  monitor.Calls = 0;
  monitor.Patience = 2;
  monitor.Percent = 0;
  EXPECT_EQ(archiver.DoCommand(kSevenZipKind), kCommandCancelled);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(temp.DriveD()),
                          std::filesystem::directory_iterator()),
            1);
}

TEST(SevenZip, APasswordInTheLineEncryptsAndOpens) {
  const TempFolder temp;
  const SevenZipLibrary library(temp.Files());
  WriteTestFile(temp.DriveC() / "a", "content");
  std::filesystem::create_directory(temp.DriveD() / "out");
  const std::u16string list = WriteListFile(temp.Files(), "a\r\n");
  const auto send = [&](const std::u16string& line) {
    ArchiveCommand command;
    command.Line = line;
    std::u16string output;
    return library.SevenZip(command, output);
  };
  EXPECT_EQ(send(u"a -t7z \"-ppass word\" D:\\a.7z C:\\ @" + list), 0);
  EXPECT_EQ(send(u"x -y -pwrong D:\\a.7z D:\\out\\"), 2);
  EXPECT_EQ(send(u"x -y \"-ppass word\" D:\\a.7z D:\\out\\"), 0);
  EXPECT_EQ(ReadTestFile(temp.DriveD() / "out" / "a"), "content");
}

TEST(ListFile, CarriesEveryNameThatALineCan) {
  EXPECT_EQ(ListLine(u"my file.txt"), "\"my file.txt\"");
  EXPECT_EQ(ListLine(u"q\"uote d"), "q\"uote d");
  for (const std::u16string& name : {std::u16string(u"a\nb"), std::u16string(u"\"q"),
                                     std::u16string(u"q\" "), FromUtf8("b\xff")}) {
    EXPECT_EQ(ListLine(name), "");
  }
}

TEST(ClsArc, FilesAreRecognisedByWhatIsInThem) {
  const TempFolder temp;
  const SevenZipLibrary library(temp.Files());
  ASSERT_TRUE(library.Present()) << "the tests need 7zz";
  WriteTestFile(temp.DriveC() / "top" / "a.txt", "a");
  WriteTestFile(temp.DriveC() / "top" / "b.txt", "b");
  WriteTestFile(temp.DriveC() / "c.txt", "c");
  const std::string program = "/usr/bin/7zz";
  const auto make = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), program);
    ASSERT_EQ(RunCommand(arguments).ExitCode, 0);
  };
  const std::string c = temp.DriveC(), d = temp.DriveD();
  make({"a", d + "/one.7z", c + "/top"});
  make({"a", "-tzip", d + "/two.zip", c + "/top", c + "/c.txt"});
  make({"a", "-tzip", "-psecret", d + "/three.zip", c + "/c.txt"});
  WriteTestFile(temp.DriveD() / "text.7z", "no archive at all");
  WriteTestFile(temp.DriveD() / "mark.7z", "7z\xBC\xAF\x27\x1C but broken");

  ClsArc archiver(library, temp.Files());
  EXPECT_EQ(archiver.CheckFile(u"D:\\one.7z"), kSevenZipKind);
  EXPECT_EQ(archiver.CheckFile(u"D:\\two.zip"), kZipKind);
  EXPECT_EQ(archiver.CheckFile(u"D:\\three.zip"), kEncryptedZipKind);
  EXPECT_EQ(archiver.CheckFile(u"D:\\text.7z"), -1);
  EXPECT_EQ(archiver.CheckFile(u"D:\\mark.7z"), -1);
  EXPECT_EQ(archiver.CheckFile(u"D:\\missing.7z"), -2);
  EXPECT_TRUE(archiver.IsDoubleFolder(u"D:\\one.7z", 3));
  EXPECT_FALSE(archiver.IsDoubleFolder(u"D:\\two.zip", 4));
  archiver.OpenArchive(u"D:\\one.7z");
  EXPECT_EQ(archiver.ArrayCount() + 1, archiver.GetFileCount(u"D:\\one.7z"));
  const auto a = std::find_if(archiver.Entries.begin(), archiver.Entries.end(),
                              [](const ArchiveEntry& e) { return e.FileName == u"top/a.txt"; });
  ASSERT_NE(a, archiver.Entries.end());
  EXPECT_EQ(a->FileCRC, u"E8B7BE43");
  EXPECT_EQ(a->FileSize, u"1");
  EXPECT_EQ(a->FileType, u"7-Zip");
  archiver.OpenArchive(u"D:\\text.7z");
  EXPECT_EQ(archiver.ArrayCount(), -1);
}

}  // namespace
}  // namespace kavrel
