// Readers and matchers against hostile text, from a seeded generator: the same inputs every time.
#include <gtest/gtest.h>

#include <random>

#include "archive/seven_zip.h"
#include "base/text.h"
#include "base/wildcard.h"
#include "core/command_line.h"
#include "core/job_store.h"
#include "faults/world.h"
#include "log/program_log.h"
#include "platform/code_page.h"
#include "platform/settings_store.h"
#include "rules/date_tokens.h"
#include "rules/exclusion_rules.h"
#include "rules/file_filters.h"
#include "support/set_clock.h"

namespace kavrel::faults {
namespace {

/// What the files look like that the readers know, and scraps that have hurt readers before.
const std::string kSeeds[] = {
    "1\tJob\t1\t0\tC:\\a\\\tD:\\b\\\t1\t*.*\t2009/9/23 \xA4U\xA4\xC8 "
    "03:04:05\t0\t0\t1\t0\t0\t0\t5\t"
    "2009/9/22\t0\tTrue\t1\t99\t1\tpw\t1\t\r\n",
    "# head\r\nRule\tTrue\t*\t\\Temp\\\t*.tmp\r\nOther\tx\tC:\t[a-\t#?*\r\n",
    "Name\t*.a;*.b;[!a-z]*\r\n; comment\r\n",
    "\"Job\",\"\xB3\xC6\xA5\xF7\xA7\xB9\xA6\xA8\",\"1,024\",\"0\",\"0\",\"a\"\"b\",\"c\r\nd\",\"x."
    "txt\"\r\n",
    "[Settings]\nExcEnabled=-1\nOutWidth0=\"100\"\n;x\n[Other]\nPlaySound=True\n",
    "a \"b c\" d\"\"e \"",
    "2009/9/23 03:04:05 PM",
    "1899-12-30 24:00:00 39999.75 -1e308 99999999999999999999",
    "D:\\b\\<yyyy>\\<mm><dd> <w> <<hh>nn>",
    "Path = a\nType = 7z\n----------\nPath = x/y\nSize = 18446744073709551616\nModified = "
    "2026-13-45 99:99:99.999999999999\nAttributes = D_ drwx\nCRC = GG\nFolder = +\nPath = \n",
    "\xEF\xBB\xBF\xFF\xFE\xF9\xFE\x80\xED\xB2\x80\xF4\x90",
};

class Fuzz : public testing::Test {
 protected:
  std::mt19937 random_{20091};
  std::size_t tried_ = 0;

  std::size_t Below(std::size_t limit) { return random_() % limit; }

  /// A seed, or a splice of two, with some bytes changed, doubled, cut out or repeated at length.
  std::string Next() {
    ++tried_;
    const auto seed = [&]() -> const std::string& { return kSeeds[Below(std::size(kSeeds))]; };
    std::string text = seed();
    if (Below(2)) text.insert(Below(text.size() + 1), seed());
    for (std::size_t changes = Below(12); changes > 0 && !text.empty(); --changes) {
      const std::size_t at = Below(text.size());
      switch (Below(5)) {
        case 0:
          text[at] = static_cast<char>(random_());
          break;
        case 1:
          text.erase(at, Below(20));
          break;
        case 2:
          text.insert(at, Below(300), text[at]);
          break;
        case 3:
          text.insert(at, text.substr(at, Below(40)));
          break;
        default:
          text.insert(at, 1, "\t\r\n\"\\*?[]!-;=<>\0"[Below(16)]);
      }
    }
    return text;
  }

  std::size_t Rounds() const { return SweepStep(10) == 1 ? 100'000 : 10'000; }
};

TEST_F(Fuzz, PlainReadersTakeAnythingAndReadBackWhatTheyWrite) {
  SetClock clock(2009, 9, 23, 15, 4, 5);
  for (std::size_t round = 0; round < Rounds(); ++round) {
    const std::string bytes = Next();
    const std::u16string text = DecodeTextFile(bytes);
    EXPECT_EQ(ToUtf8(FromUtf8(bytes)), bytes);
    EXPECT_EQ(DecodeTextFile(EncodeTextFile(text)), text);
    if (const auto time = ParseDateTime(text)) {
      EXPECT_EQ(ParseDateTime(DateTimeText(*time)), time);
    }
    BackupJob job;
    if (ParseJobLine(text, job)) {
      BackupJob again;
      const std::u16string line = FormatJobLine(job);
      ASSERT_TRUE(ParseJobLine(line, again));
      EXPECT_EQ(FormatJobLine(again), line);
    }
    SplitArguments(text);
    SplitCommand(text);
    ExpandDateTokens(text, clock);
    ReadTechnicalListing(bytes);
    NormalizeFolderPattern(text);
    const std::u16string other = FromUtf8(Next());
    MatchesPattern(text, other);
    MatchesFileMask(text, other);
    MatchesPatternList(text, other);
    EXPECT_TRUE(MatchesPattern(text, u"*"));
    if (HasFailure()) FAIL() << testing::PrintToString(bytes);
  }
  Count("hostile inputs tried", tried_);
}

TEST_F(Fuzz, ReadersOfFilesTakeAnythingAndSaveWhatTheyUnderstood) {
  const TempFolder temp;
  const auto write = [&](const char* name) { WriteTestFile(temp.Home() / name, Next()); };
  for (std::size_t round = 0; round < Rounds() / 50; ++round) {
    write("Backup.rtm");
    JobStore store(temp.Files());
    if (store.LoadJobs()) {
      const std::size_t jobs = store.Jobs.size();
      ASSERT_TRUE(store.SaveJobs());
      store.LoadJobs();
      // A line break inside a field becomes a blank, which only the next save trims off its end.
      ASSERT_TRUE(store.SaveJobs());
      const std::string saved = ReadTestFile(temp.Home() / "Backup.rtm");
      store.LoadJobs();
      EXPECT_EQ(store.Jobs.size(), jobs);
      ASSERT_TRUE(store.SaveJobs());
      EXPECT_EQ(ReadTestFile(temp.Home() / "Backup.rtm"), saved);
    }
    write("Exc.txt");
    ExclusionSet rules(temp.Files(), {});
    rules.ExcEnabled = true;
    rules.LoadExclusions();
    rules.IsFileExcluded(FromUtf8(Next()));
    rules.IsFolderExcluded(FromUtf8(Next()));
    write("FileType.txt");
    FilterTable filters(temp.Files());
    filters.LoadFilters();
    write("Log/QVDlog.log");
    LogList rows;
    ProgramLog log(temp.Files(), rows);
    log.LoadProgramLog();
    const std::vector<LogRow> before(rows.Rows().begin(), rows.Rows().end());
    ASSERT_TRUE(log.SaveProgramLog());
    LogList again;
    ProgramLog(temp.Files(), again).LoadProgramLog();
    EXPECT_EQ(std::vector<LogRow>(again.Rows().begin(), again.Rows().end()), before);
    write("Settings.ini");
    SettingsStore settings(temp.Files(), TempFolder::Text(temp.Home() / "Settings.ini"));
    ASSERT_TRUE(settings.Set(u"PlaySound", u"False"));
    EXPECT_EQ(settings.Get(u"PlaySound"), u"False");
    if (HasFailure()) FAIL() << "round " << round;
  }
  Count("hostile inputs tried", tried_);
}

TEST_F(Fuzz, NoPatternTakesExponentialTime) {
  const std::u16string text(10'000, u'a');
  std::u16string stars;
  for (int i = 0; i < 50; ++i) stars += u"*a";
  EXPECT_FALSE(MatchesPattern(text, stars + u"b"));
  EXPECT_TRUE(MatchesPattern(text, stars + u"*"));
  EXPECT_FALSE(MatchesFileMask(text, stars + u"b"));
  EXPECT_FALSE(MatchesPattern(text, std::u16string(50, u'*') + u"b"));
}

}  // namespace
}  // namespace kavrel::faults
