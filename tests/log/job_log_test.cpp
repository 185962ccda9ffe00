#include "log/job_log.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include "base/text.h"
#include "support/set_clock.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

constexpr char kName[] = "2009年09月23日15時04分05秒";
constexpr std::u16string_view kStart =
    u"################### - 開始時間：2009 年 09 月 23 日 - 下午 03 時 04 分 05 秒 - "
    u"###################\r\n";

struct JobLogTest : testing::Test {
  TempFolder Temp;
  SetClock Clock{2009, 9, 23, 15, 4, 5};
  fs::path Logs = Temp.Home() / "Log";
  JobLogTest() { fs::create_directory(Logs); }

  fs::path File(std::string_view suffix = "") const {
    return Logs / (kName + std::string(suffix) + ".txt");
  }
  /// The log's text; empty when its bytes are no UTF-16LE text with a byte-order mark.
  std::u16string Read(std::string_view suffix = "") const {
    const std::string bytes = ReadTestFile(File(suffix));
    if (!bytes.starts_with("\xFF\xFE") || bytes.size() % 2) return {};
    std::u16string text;
    for (std::size_t i = 2; i < bytes.size(); i += 2) {
      text += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                    static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
    return text;
  }
};

TEST_F(JobLogTest, IsUtf16TextBetweenItsTwoBanners) {
  JobLog log(Temp.Files(), Clock);
  log.OpenJobLog();
  EXPECT_EQ(log.CurrentPath(), TempFolder::Text(File()));
  log.WriteTimed(
      u": 備份檔案 (失敗)：C:\\a\xDC80\xD83D\xDE00.txt");  // an undecodable byte, an emoji
  log.WriteTimed(u": 備份檔案 (失敗)：/a\r\n2009/9/24: 備份檔案 (成功)：/b");
  Clock.Advance(9 * 3600 * 1000);
  log.CloseJobLog();
  log.CloseJobLog();
  EXPECT_EQ(Read(),
            std::u16string(kStart) +
                u"2009/9/23 下午 03:04:05: 備份檔案 (失敗)：C:\\a\xDC80\xD83D\xDE00.txt\r\n"
                u"2009/9/23 下午 03:04:05: 備份檔案 (失敗)：/a␍␊2009/9/24: 備份檔案 (成功)：/b\r\n"
                u"################### - 完成時間：2009 年 09 月 24 日 - 上午 12 時 04 分 05 "
                u"秒 - ###################\r\n");
  EXPECT_FALSE(log.Failed());
}

TEST_F(JobLogTest, RunsOfOneSecondLeaveEachOthersLogAlone) {
  fs::create_symlink("nowhere", File(" (3)"));
  JobLog log(Temp.Files(), Clock);
  for (const std::u16string_view line : {u"first", u"second", u"third"}) {
    log.WriteJobLog(line);  // opens by itself
    log.CloseJobLog();
  }
  EXPECT_EQ(log.CurrentPath(), TempFolder::Text(File(" (4)")));
  EXPECT_TRUE(Read().starts_with(std::u16string(kStart) + u"first\r\n#"));
  EXPECT_TRUE(Read(" (2)").starts_with(std::u16string(kStart) + u"second\r\n#"));
  EXPECT_TRUE(Read(" (4)").starts_with(std::u16string(kStart) + u"third\r\n#"));
}

TEST_F(JobLogTest, LinesReachTheFileWhileTheRunGoesOn) {
  const std::u16string start(kStart);
  {
    JobLog log(Temp.Files(), Clock);
    log.OpenJobLog();
    EXPECT_EQ(Read(), start);
    log.WriteJobLog(u"told at last");
    Clock.Advance(1000);
    log.FlushDue();
    EXPECT_EQ(Read(), start);
    Clock.Advance(1);
    log.FlushDue();
    EXPECT_EQ(Read(), start + u"told at last\r\n");
    log.WriteJobLog(u"a");
    Clock.Advance(1);
    log.WriteJobLog(u"b");
    Clock.Advance(1001);
    log.WriteJobLog(u"c");
    EXPECT_EQ(Read(), start + u"told at last\r\na\r\nb\r\nc\r\n");
    const std::u16string long_line(40000, u'x');
    log.WriteJobLog(long_line);
    EXPECT_TRUE(Read().ends_with(u"c\r\n" + long_line + u"\r\n"));
    log.WriteJobLog(u"last");
  }
  EXPECT_TRUE(Read().ends_with(u"x\r\nlast\r\n")) << "a run that was torn off has no end banner";
}

TEST_F(JobLogTest, AfterAFailedWriteTheRestIsSkippedAndWhatThereIsStays) {
  JobLog log(Temp.Files(), Clock);
  log.OpenJobLog();
  rlimit old;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
  const auto old_handler = signal(SIGXFSZ, SIG_IGN);
  const rlimit tight{100000, old.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
  log.WriteJobLog(std::u16string(40000, u'x'));
  const bool failed_early = log.Failed();
  log.WriteJobLog(std::u16string(40000, u'y'));
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
  signal(SIGXFSZ, old_handler);
  EXPECT_FALSE(failed_early);
  EXPECT_TRUE(log.Failed());
  log.CloseJobLog();
  log.WriteJobLog(u"later");
  EXPECT_EQ(fs::file_size(File()), 100000U);
  EXPECT_TRUE(Read().starts_with(std::u16string(kStart) + u"xxx"));
  EXPECT_EQ(std::distance(fs::directory_iterator(Logs), {}), 1);
}

}  // namespace
}  // namespace kavrel
