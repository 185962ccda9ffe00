#include "base/translation.h"

#include <gtest/gtest.h>

#include "base/date_time.h"
#include "base/mo_file.h"
#include "base/screen_format.h"
#include "base/text.h"
#include "base/text_pattern.h"
#include "support/spoken.h"

namespace kavrel {
namespace {

/// A catalogue of these pairs, as msgfmt lays one out, with words of this byte order.
std::string Catalogue(const std::vector<std::pair<std::string, std::string>>& pairs, bool big) {
  std::string words, texts;
  const auto word = [&](std::size_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
      words += static_cast<char>(value >> 8 * (big ? 3 - i : i) & 0xFF);
    }
  };
  const std::size_t count = pairs.size(), begin = 28 + count * 16;
  for (const std::size_t value : {std::size_t{0x950412DE}, std::size_t{0}, count, std::size_t{28},
                                  28 + count * 8, std::size_t{0}, begin}) {
    word(value);
  }
  for (const auto part : {&std::pair<std::string, std::string>::first,
                          &std::pair<std::string, std::string>::second}) {
    for (const auto& pair : pairs) {
      word((pair.*part).size());
      word(begin + texts.size());
      texts += pair.*part + '\0';
    }
  }
  return words + texts;
}

TEST(MoFileTest, ReadsBothByteOrdersAndNothingOfADamagedFile) {
  const std::string forms("a file\0b", 8);
  for (const bool big : {false, true}) {
    const std::string bytes = Catalogue({{"", "header"}, {"檔案", forms}}, big);
    const auto pairs = ReadMoFile(bytes);
    ASSERT_EQ(pairs.size(), 2U);
    EXPECT_EQ(pairs[1].first, "檔案");
    EXPECT_EQ(pairs[1].second, forms);
    // No part of it is one, and no damaged word leads outside.
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      EXPECT_TRUE(ReadMoFile(bytes.substr(0, size)).empty()) << size;
    }
    for (std::size_t place = 0; place < 60; ++place) {
      std::string damaged = bytes;
      damaged[place] = '\xFF';
      for (const auto& [original, translation] : ReadMoFile(damaged)) {
        EXPECT_LE(original.size() + translation.size(), bytes.size());
      }
    }
  }
}

TEST(TextPatternTest, TakesATextApartOnlyWhereThereIsOneWay) {
  const TextPatterns patterns({u"找不到來源資料夾 %1，%2", u"找不到%1", u": 備份檔案 (失敗)：",
                               u"「%1」的 %2 個檔案", u"%1：%2", u"%2 在 %1"});
  const auto taken = [&](std::u16string_view text) {
    std::string told;
    const auto match = patterns.Match(text);
    if (!match) return told;
    told = ToUtf8(match->Id);
    for (const auto& argument : match->Arguments) {
      told += "|" + std::to_string(argument.Number) + ToUtf8(argument.Text) +
              (argument.Quoted ? "!" : "");
    }
    return told;
  };
  EXPECT_EQ(taken(u"找不到來源資料夾 /a，拒絕存取"), "找不到來源資料夾 %1，%2|1/a|2拒絕存取");
  // The more of the text a pattern tells, the better; a comma of the path makes two ways of it.
  EXPECT_EQ(taken(u"找不到 7-Zip"), "找不到%1|1 7-Zip");
  EXPECT_EQ(taken(u"找不到來源資料夾 /a，b，拒絕存取"), "");
  EXPECT_EQ(taken(u": 備份檔案 (失敗)：/找不到/：%1"), ": 備份檔案 (失敗)：|1/找不到/：%1");
  EXPECT_EQ(taken(u"「的 」的 3 個檔案"), "「%1」的 %2 個檔案|1的 !|23");
  EXPECT_EQ(taken(u"甲 在 乙"), "%2 在 %1|2甲|1乙");
  EXPECT_EQ(taken(u"a：b"), "");
  EXPECT_EQ(taken(u""), "");
}

TEST(TranslationTest, FillsInAnyOrderAndLooksIntoNoArgument) {
  EXPECT_EQ(Fill(u"%2 %1 %3 100 % %", {u"%2", u"b"}), u"b %2 %3 100 % %");
  EXPECT_EQ(Fill("%1%1", {"x"}), "xx");
}

TEST(TranslationTest, FindsTheLanguageOfALocale) {
  const auto code = [](std::string_view locale) {
    const Language* found = FindLanguage(locale);
    return found ? std::string(found->Code) : std::string();
  };
  for (const auto& [locale, wanted] :
       std::vector<std::pair<std::string, std::string>>{{"zh_TW.UTF-8", "zh_TW"},
                                                        {"zh-Hant-HK", "zh_TW"},
                                                        {"zh_HK", "zh_TW"},
                                                        {"zh-Hans-TW", "zh_CN"},
                                                        {"zh", "zh_CN"},
                                                        {"de_AT@euro", "de"},
                                                        {"en", "en"},
                                                        {"eng", ""},
                                                        {"C.UTF-8", ""},
                                                        {"", ""}}) {
    EXPECT_EQ(code(locale), wanted) << locale;
  }
}

TEST(TranslationTest, FallsBackAsAWholeAndKeepsTheSourceForItsOwnLanguage) {
  constexpr char16_t kNone[] = u"沒有人翻譯的文字";
  for (const Language& language : Languages()) {
    const Spoken spoken(language.Code);
    EXPECT_EQ(CurrentLanguage().Code, language.Code);
    EXPECT_EQ(Tr(kNone), kNone);
    EXPECT_STREQ(Tr("nothing that is translated"), "nothing that is translated");
    // Whatever is not translated yet is English elsewhere.
    EXPECT_EQ(Tr(u"備份完成") == u"備份完成", language.Code == "zh_TW") << language.Code;
  }
  SetLanguage("xx");
  EXPECT_EQ(CurrentLanguage().Code, "zh_TW") << "a language that there is not changes nothing";
  const Spoken english("en");
  EXPECT_EQ(TrIn("log column", u"備份"), u"Unchanged");
  EXPECT_EQ(Tr(u"備份"), u"Backup");
  EXPECT_EQ(TrCount(u"%1 個檔案", 1), u"1 file");
  EXPECT_EQ(TrCount(u"%1 個檔案", 1234), u"1,234 files");
  EXPECT_EQ(TrCount("imported %1 job from %2", "imported %1 jobs from %2", 0),
            "imported 0 jobs from %2");
}

TEST(TranslationTest, ShowsWhatTheCoreHasComposed) {
  const std::pair<std::u16string_view, std::u16string_view> cases[] = {
      {u"備份完成", u"Backup finished"},
      {u"失敗 1 個檔案", u"1 file failed"},
      {u"失敗 1,024 個檔案", u"1,024 files failed"},
      {u"備份完成：備份 3 個檔案，失敗 0 個檔案，無法查看 2 個檔案",
       u"Backup finished: 3 files backed up, 0 files failed, 2 files could not be examined"},
      {u"2 個排程中有 1 個沒有完整執行：「照片」備份中斷：來源磁碟沒有掛載：/mnt/a",
       u"Of 2 jobs, 1 did not run completely: “照片” Backup interrupted: The source disk is not "
       u"mounted: /mnt/a"},
      {u"整體進度：1 / 4 個檔案，1,024.00 KB / 4.00 MB，512.00 KB/秒，剩餘約 6 秒",
       u"Overall progress: 1 / 4 files, 1,024.00 KB / 4.00 MB, 512.00 KB/s, about 6 seconds left"},
      {u": 備份檔案 (失敗)：/a：b，c", u": Backing up file (failed): /a：b，c"},
      {u"備份檔案 (失敗)", u"Backing up file (failed)"},
      {u"失敗 1 個檔案：備份檔案 (失敗) /a (Could Not Open (錯誤：17 - File exists): /b)",
       u"1 file failed: Backing up file (failed) /a (Could Not Open (Error 17 - File exists): /b)"},
      {u"驗證檔案 (內容損壞) /a (2)/b (備份的檔案已損壞，來源與備份時相同)",
       u"Verifying file (damaged) /a (2)/b (the copy is damaged, the source is as it was when it "
       u"was backed up)"},
      // The end of a name is no reason.
      {u"備份檔案 (失敗) /a (1024)", u"Backing up file (failed) /a (1024)"},
      {u"備份檔案 (失敗) /照片 (失敗)", u"Backing up file (failed) /照片 (失敗)"},
      {u": 原因：Could Not Open (錯誤：13 - Permission denied)",
       u": Reason: Could Not Open (Error 13 - Permission denied)"},
      {u"最近的備份有問題：照片\n逾期未備份：文件",
       u"Recent backups with problems: 照片\nOverdue backups: 文件"},
      {u"排程已暫停至 2026/11/24 下午 03:30:00",
       u"The schedule is paused until 2026-11-24 15:30:00"},
      {u"週日, 週一", u"Sun, Mon"},
      {u"Kavrel發現到【照片】在【2009/9/23 下午 03:10:00】時間內並未做備份，您要：",
       u"Kavrel found that “照片” was not backed up at 2009-09-23 15:10:00. You can:"},
      {u"備份中斷：同步刪除防護 (中斷) 要移除的檔案超過目標資料夾的 50 %",
       u"Backup interrupted: Mirror guard (interrupted) More than 50% of the files in the "
       u"destination "
       u"folder would be removed"},
      // A name in quotation marks stays, whatever text it is.
      {u"「完成」備份完成：備份 1 個檔案", u"“完成”: Backup finished: 1 file backed up"},
      {u"找不到排程「失敗 1 個檔案」", u"There is no job “失敗 1 個檔案”"},
      // One that the program has given is shown as everywhere else.
      {u"找不到排程「家目錄 - 複本 2」", u"There is no job “Home folder - copy 2”"},
      {u"備份排程名稱　　　：我的文件夾", u"Job name: My documents"},
      {u"/a 是排程「照片」、「家目錄 - 複本 2」的備份，來源：/b",
       u"/a is the backup of the job “照片”, “Home folder - copy 2”, source: /b"},
      // Two ways to take it apart: as it is.
      {u"「a」b」備份完成：", u"「a」b」備份完成："},
      {u"自己的文字", u"自己的文字"},
      {u"", u""},
  };
  for (const auto& [source, shown] : cases) {
    EXPECT_EQ(Shown(source), source) << "the source speaks Chinese";
    const Spoken english("en");
    EXPECT_EQ(ToUtf8(Shown(source)), ToUtf8(shown));
  }
}

TEST(TranslationTest, WritesNumbersAndTimesAsTheLanguageDoes) {
  const DateTime time = *FromCivil(2009, 9, 3, 15, 4, 5), midnight = *FromCivil(2009, 12, 24);
  const struct {
    const char* Code;
    std::u16string_view Time, Midnight, Number, Size;
    bool Monday;
  } cases[] = {
      {"zh_TW", u"2009/9/3 下午 03:04:05", u"2009/12/24", u"1,234,567", u"1,024.50 MB", false},
      {"en", u"2009-09-03 15:04:05", u"2009-12-24", u"1,234,567", u"1,024.50 MB", false},
      {"de", u"03.09.2009 15:04:05", u"24.12.2009", u"1.234.567", u"1.024,50 MB", true},
      {"fr", u"03/09/2009 15:04:05", u"24/12/2009", u"1\u202F234\u202F567", u"1\u202F024,50 MB",
       true},
      {"ja", u"2009/09/03 15:04:05", u"2009/12/24", u"1,234,567", u"1,024.50 MB", false}};
  for (const auto& expected : cases) {
    const Spoken spoken(expected.Code);
    EXPECT_EQ(ScreenDateTime(time), expected.Time) << expected.Code;
    EXPECT_EQ(ScreenDateTime(midnight), expected.Midnight) << expected.Code;
    EXPECT_EQ(ScreenNumber(1234567), expected.Number) << expected.Code;
    EXPECT_EQ(Shown(u"1,024.50 MB"), expected.Size) << expected.Code;
    EXPECT_EQ(Shown(DateTimeText(time)), expected.Time) << expected.Code;
    EXPECT_EQ(WeekBeginsOnMonday(), expected.Monday) << expected.Code;
  }
  EXPECT_FALSE(ScreenNumberOf(u"1..2"));
  EXPECT_FALSE(ScreenNumberOf(u"2009/9"));
}

}  // namespace
}  // namespace kavrel
