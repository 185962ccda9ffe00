#include "base/translation.h"

#include <gtest/gtest.h>

#include "base/date_time.h"
#include "base/mo_file.h"
#include "base/screen_format.h"
#include "base/text.h"
#include "base/text_pattern.h"
#include "platform/user_language.h"
#include "support/variable.h"

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

TEST(TranslationTest, AsksTheEnvironmentInGettextsOrder) {
  const EnvironmentVariable none("LC_ALL", ""), of_messages("LC_MESSAGES", "fr_FR.UTF-8"),
      of_all("LANG", "ja_JP"), first("LANGUAGE", "xx::de");
  EXPECT_EQ(UserLanguages(), (std::vector<std::string>{"xx", "de", "fr_FR.UTF-8"}));
  const EnvironmentVariable plain("LC_ALL", "C");
  EXPECT_TRUE(UserLanguages().empty());
}

}  // namespace
}  // namespace kavrel
