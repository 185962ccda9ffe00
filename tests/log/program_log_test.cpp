#include "log/program_log.h"

#include <gtest/gtest.h>

#include <random>

#include "base/text.h"
#include "platform/code_page.h"
#include "support/temp_folder.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

struct ProgramLogTest : testing::Test {
  TempFolder Temp;
  LogList Rows;
  ProgramLog Log{Temp.Files(), Rows};
  fs::path Logs = Temp.Home() / "Log";
  fs::path File = Logs / "QVDlog.log";

  std::vector<LogRow> Reload() {
    LogList rows;
    ProgramLog(Temp.Files(), rows).LoadProgramLog();
    return rows.Rows();
  }
  /// Rows "0", "1" … with a real job log each.
  void Fill(int count) {
    for (int i = 0; i < count; ++i) {
      const fs::path path = Logs / (std::to_string(i) + ".txt");
      WriteTestFile(path, "log");
      Rows.Append(ReadLogRow(
          {FromUtf8(std::to_string(i)), {}, {}, {}, {}, {}, {}, TempFolder::Text(path)}));
    }
  }
};

TEST_F(ProgramLogTest, RowsAreQuotedRecordsThatComeBackAsTheyWere) {
  Log.LoadProgramLog();
  LogRow row;
  row.Job = u"許";
  row.Kind = LogKind::Backup;
  row.Copied = 1234;
  row.Unchanged = row.Failed = 0;
  row.Started = FromCivil(2009, 9, 23);
  row.LogPath = u"C:\\a.txt";
  Rows.Append(row);
  ASSERT_TRUE(Log.SaveProgramLog());
  EXPECT_EQ(ReadTestFile(File),
            *EncodeCodePage(
                u"\"許\",\"備份完成\",\"1,234\",\"0\",\"0\",\"2009/9/23\",\"\",\"C:\\a.txt\"\r\n"));
  // What somebody else has written is not put into the program's own words.
  for (LogColumns columns : {LogColumns{u"a,\"b\"", u"\"", u"two\r\nlines\n", u" ", u",", u"\"\"",
                                        u"😀", u"/x/\xDC80.txt"},
                             LogColumns{u"", u"", u"", u"", u"", u"", u"", u"last"},
                             LogColumns{u"b", u"備份中斷", u"1234", u"01", u"many", u"2009-9-23",
                                        u"2009/9/23 15:04:05", u"b.txt"}}) {
    Rows.Append(ReadLogRow(columns));
    EXPECT_EQ(ColumnsOf(Rows.Rows().back()), columns);
  }
  EXPECT_TRUE(Rows.Rows().back().Stopped);
  EXPECT_EQ(Rows.Rows().back().Copied, 1234U);
  EXPECT_EQ(Rows.Rows().back().NextRun, FromCivil(2009, 9, 23, 15, 4, 5));
  ASSERT_TRUE(Log.SaveProgramLog());
  EXPECT_EQ(Reload(), Rows.Rows());
}

TEST_F(ProgramLogTest, OddFilesGiveWhatCanBeRead) {
  const std::string million(1000000, 'm');
  const struct {
    std::string Bytes;
    std::vector<LogColumns> Rows;
  } cases[] = {
      {"\r\n\n\r\"\",,\r\n", {}},
      {"plain,text\n\"short\"", {{u"plain", u"text"}, {u"short"}}},
      {"1,2,3,4,5,6,7,8,9,10\r\nnext\r\n",
       {{u"1", u"2", u"3", u"4", u"5", u"6", u"7", u"8"}, {u"next"}}},
      {"\"an \"old\" name\",\"b\"\r\n", {{u"an old\" name\"", u"b"}}},
      {"\"whole\"\r\n\"torn\r\nnext", {{u"whole"}, {u"torn\r\nnext"}}},
      {std::string("\"a\0b\"", 5), {{std::u16string(u"a\0b", 3)}}},
      {"\"" + million + "\"," + million,
       {{std::u16string(1000000, u'm'), std::u16string(1000000, u'm')}}},
      {"\xEF\xBB\xBF\"\xE6\xAA\x94\"", {{u"檔"}}},
  };
  for (const auto& c : cases) {
    WriteTestFile(File, c.Bytes);
    std::vector<LogColumns> columns;
    for (const LogRow& row : Reload()) columns.push_back(ColumnsOf(row));
    EXPECT_EQ(columns, c.Rows) << c.Bytes.substr(0, 100);
  }
}

TEST_F(ProgramLogTest, WhateverIsLoadedIsSavedWithoutChange) {
  std::mt19937 random(20090923);
  constexpr std::string_view kBytes{"\"\"\"\",,\r\n\0a \xA4\xFF", 13};
  for (int round = 0; round < 500; ++round) {
    std::string bytes(random() % 60, ' ');
    for (char& c : bytes) c = kBytes[random() % kBytes.size()];
    WriteTestFile(File, bytes);
    Rows.Clear();
    Log.LoadProgramLog();
    ASSERT_TRUE(Log.SaveProgramLog());
    ASSERT_EQ(Reload(), Rows.Rows()) << testing::PrintToString(bytes);
  }
}

TEST_F(ProgramLogTest, TheOtherSpellingOfItsNameIsReadWhereItIsTheOnlyOne) {
  WriteTestFile(Logs / "QVDlog.Log", "\"old\"\r\n");
  Log.LoadProgramLog();
  EXPECT_EQ(Rows.Rows(), std::vector{ReadLogRow({u"old"})});
  WriteTestFile(File, "\"new\"\r\n");
  EXPECT_EQ(Reload(), std::vector{ReadLogRow({u"new"})});
}

TEST_F(ProgramLogTest, AFileThatCannotBeReadOrWrittenStaysWhole) {
  fs::permissions(Temp.Root(), fs::perms::all);
  WriteTestFile(File, "\"old\"\r\n");
  const auto keeps = [&](const fs::path& closed, bool loads) {
    const fs::perms before = fs::status(closed).permissions();
    fs::permissions(closed, loads ? fs::perms::owner_read | fs::perms::owner_exec |
                                        fs::perms::others_read | fs::perms::others_exec
                                  : fs::perms::others_write);
    {
      const Unprivileged user;
      LogList rows;
      ProgramLog log(Temp.Files(), rows);
      log.LoadProgramLog();
      EXPECT_EQ(rows.Rows().size(), loads ? 1U : 0U);
      rows.Append(ReadLogRow({u"new"}));
      EXPECT_FALSE(log.SaveProgramLog());
    }
    fs::permissions(closed, before);
    EXPECT_EQ(ReadTestFile(File), "\"old\"\r\n");
  };
  keeps(Logs, true);
  fs::permissions(Logs, fs::perms::all);
  keeps(File, false);
}

TEST_F(ProgramLogTest, AboveItsLimitTheListKeepsTheNewestThirtyAndOne) {
  Fill(100);
  Log.TrimLogList(0);
  EXPECT_EQ(Rows.Rows().size(), 100U);
  EXPECT_TRUE(fs::exists(Logs / "0.txt"));
  EXPECT_EQ(Reload().size(), 100U) << "saved even when nothing was removed";
  Rows.Append(ReadLogRow({u"newest"}));
  Log.TrimLogList(1);
  EXPECT_EQ(Rows.Rows().size(), 101U);
  fs::remove(Logs / "5.txt");  // a log that is gone already is no error
  Log.TrimLogList(0);
  ASSERT_EQ(Rows.Rows().size(), 31U);
  EXPECT_EQ(Rows.Rows()[0].Job, u"70");
  EXPECT_EQ(Rows.Rows()[30].Job, u"newest");
  EXPECT_EQ(Reload(), Rows.Rows());
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(fs::exists(Logs / (std::to_string(i) + ".txt")), i >= 70) << i;
  }
}

TEST_F(ProgramLogTest, AHostileRowDeletesNothingButAJobLogOfOurs) {
  const fs::path safe[] = {Temp.Home() / "Backup.rtm", Temp.Home() / "mine.txt",
                           Temp.DriveC() / "mine.txt", Logs / "mine.dat",
                           Logs / "sub" / "mine.txt",  Logs / "folder.txt" / "x"};
  for (const fs::path& path : safe) WriteTestFile(path, "mine");
  fs::create_symlink(Temp.Home() / "mine.txt", Logs / "link.txt");
  WriteTestFile(Logs / "moved.txt", "log");
  for (const std::u16string& path :
       {TempFolder::Text(safe[0]), TempFolder::Text(safe[1]), std::u16string(u"C:\\mine.txt"),
        std::u16string(u"../mine.txt"), std::u16string(u"..\\mine.txt"), TempFolder::Text(safe[3]),
        TempFolder::Text(safe[4]), TempFolder::Text(Logs / "folder.txt"),
        TempFolder::Text(Logs / "link.txt"), TempFolder::Text(Logs), std::u16string(u".."),
        std::u16string(), std::u16string(u"\0.txt", 5), TempFolder::Text(File),
        std::u16string(u"D:\\Elsewhere\\Log\\moved.txt")}) {
    Rows.Append(ReadLogRow({u"row", {}, {}, {}, {}, {}, {}, path}));
    const std::size_t first[] = {0};
    Log.DeleteSelectedLogs(first);
    EXPECT_TRUE(Rows.Rows().empty());
  }
  for (const fs::path& path : safe) EXPECT_EQ(ReadTestFile(path), "mine") << path;
  EXPECT_EQ(ReadTestFile(File), "") << "the program log itself";
  EXPECT_FALSE(fs::exists(Logs / "moved.txt")) << "a moved program folder still finds its logs";
}

}  // namespace
}  // namespace kavrel
