#include "base/text.h"

#include <gtest/gtest.h>

#include <random>

#include "base/number.h"
#include "base/wildcard.h"

namespace kavrel {
namespace {

TEST(Text, EveryByteStringSurvivesTheWayThroughUtf16) {
  std::mt19937 random(7);
  // Bytes that often form almost valid sequences.
  const std::string_view bytes("aZ/\x80\xBF\xC0\xC3\xA9\xE0\xA0\xED\xB2\xEF\xF0\x90\xF4\x8F\xFF\0",
                               19);
  for (int round = 0; round < 20000; ++round) {
    std::string name;
    for (auto i = random() % 12; i > 0; --i) name += bytes[random() % bytes.size()];
    ASSERT_EQ(ToUtf8(FromUtf8(name)), name);
  }
  EXPECT_EQ(FromUtf8("碁\U0001F600"), u"碁\U0001F600");
  EXPECT_EQ(FromUtf8("a\xff"), std::u16string(u"a") + char16_t(0xDCFF));
  // An encoded surrogate and an overlong form are no UTF-8, so they stay three and two bytes.
  EXPECT_EQ(FromUtf8("\xED\xB2\x80").size(), 3U);
  EXPECT_EQ(FromUtf8("\xC0\x80").size(), 2U);
  EXPECT_EQ(ToUtf8(std::u16string(1, char16_t(0xD800))), "\xEF\xBF\xBD");
}

TEST(Text, LettersCompareWithoutCaseInEveryScript) {
  EXPECT_TRUE(EqualNoCase(u"Ärger ΣΊΣΥΦΟΣ Ж Ａ", u"äRGER σίσυφοσ ж ａ"));
  EXPECT_FALSE(EqualNoCase(u"a", u"ab"));
  EXPECT_TRUE(StartsWithNoCase(u"FTP://host", u"ftp://"));
  EXPECT_FALSE(StartsWithNoCase(u"ft", u"ftp://"));
  EXPECT_TRUE(EndsWithNoCase(u".7Z", u".7z") && !EndsWithNoCase(u"7z", u".7z"));
  EXPECT_EQ(ToLower(u"ĀĂŐ中@[Ż"), u"āăő中@[ż");
}

TEST(Text, AnOctalFieldComesBackAsItWas) {
  const std::u16string odd = u"a b\t\\040\r\n\x1f檔";
  EXPECT_EQ(EscapeOctal(odd), u"a b\\011\\134040\\015\\012\\037檔");
  EXPECT_EQ(UnescapeOctal(EscapeOctal(odd)), odd);
  EXPECT_EQ(UnescapeOctal(u"\\040\\777\\08\\"), u" \\777\\08\\");
}

TEST(Number, IsWrittenWithThousandsSeparatorsAndRoundedAsPeopleDo) {
  EXPECT_EQ(Grouped(0), u"0");
  EXPECT_EQ(Grouped(UINT64_MAX), u"18,446,744,073,709,551,615");
  EXPECT_EQ(GroupedFixed(1234.5, 2), u"1,234.50");
  EXPECT_EQ(GroupedFixed(0.125, 2), u"0.13");
  EXPECT_EQ(GroupedFixed(999.999, 2), u"1,000.00");
  EXPECT_EQ(GroupedFixed(-0.5, 0), u"-1");
  EXPECT_EQ(GroupedFixed(1e21, 1), u"1,000,000,000,000,000,000,000.0");
  EXPECT_EQ(Decimal(-7, 2), u"-07");
  EXPECT_EQ(Decimal(INT64_MIN), u"-9223372036854775808");
}

TEST(Number, IsReadOnlyWhenTheWholeTextIsOne) {
  EXPECT_EQ(ParseInt(u" 42 "), 42);
  EXPECT_EQ(ParseInt(u"+7"), 7);
  EXPECT_EQ(ParseInt(u"-2147483648"), INT32_MIN);
  for (const std::u16string_view bad :
       {u"", u" ", u"2147483648", u"1x", u"0x10", u"1.5", u"１", u"+-1", u"--1"}) {
    EXPECT_EQ(ParseInt(bad), std::nullopt) << ToUtf8(bad);
  }
  EXPECT_EQ(ParseNumber(u"40079.5"), 40079.5);
  EXPECT_EQ(ParseNumber(u"1e3"), 1000.0);
  for (const std::u16string_view bad : {u"nan", u"inf", u"1e999", u"", u".", u"1,5"}) {
    EXPECT_EQ(ParseNumber(bad), std::nullopt) << ToUtf8(bad);
  }
  EXPECT_EQ(ParseBool(u" TRUE "), true);
  EXPECT_EQ(ParseBool(u"-1"), true);
  EXPECT_EQ(ParseBool(u"0"), false);
  EXPECT_EQ(ParseBool(u"yes"), std::nullopt);
}

TEST(Wildcard, RulesLanguage) {
  const struct {
    std::u16string_view Text, Pattern;
    bool Matches;
  } cases[] = {
      {u"abc", u"abc", true},     {u"abc", u"ab", false},     {u"abc", u"a*", true},
      {u"", u"*", true},          {u"", u"", true},           {u"", u"?", false},
      {u"abcbc", u"*bc", true},   {u"abcbd", u"*bc", false},  {u"a1b", u"a#b", true},
      {u"axb", u"a#b", false},    {u"a１b", u"a#b", false},   {u"m", u"[a-fk-n]", true},
      {u"g", u"[a-fk-n]", false}, {u"g", u"[!a-f]", true},    {u"a", u"[!a-f]", false},
      {u"-", u"[-a]", true},      {u"-", u"[a-]", true},      {u"b", u"[a-]", false},
      {u"*", u"[*]", true},       {u"x", u"[*]", false},      {u"[", u"[[]", true},
      {u"#?", u"[#][?]", true},   {u"]", u"]", true},         {u"a]", u"a]", true},
      {u"!", u"[a!]", true},      {u"a", u"[]a", false},      {u"x", u"[!]", true},
      {u"[abc", u"[abc", true},   {u"[z-a]", u"[z-a]", true}, {u"m", u"[z-a]", false},
      {u"x[y", u"*[y", true},     {u"A", u"a", false},        {u"報告1.txt", u"報告#.*", true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(MatchesPattern(c.Text, c.Pattern), c.Matches)
        << ToUtf8(c.Text) << " against " << ToUtf8(c.Pattern);
  }
}

TEST(Wildcard, FileMasksIgnoreCaseAndTheirDotDotFindsEverything) {
  EXPECT_TRUE(MatchesFileMask(u"none", u"*.*"));
  EXPECT_TRUE(MatchesFileMask(u"A.TXT", u"*.txt"));
  EXPECT_FALSE(MatchesFileMask(u"a.txt2", u"*.txt"));
  EXPECT_TRUE(MatchesFileMask(u"[a]#.doc", u"[A]#.d?c"));
  EXPECT_FALSE(MatchesFileMask(u"b1.doc", u"[A]#.d?c"));
  EXPECT_FALSE(MatchesFileMask(u"a", u""));
}

TEST(Wildcard, ManyStarsDoNotMultiplyTheWork) {
  std::u16string pattern, text(10000, u'a');
  for (int i = 0; i < 50; ++i) pattern += u"*a";
  EXPECT_FALSE(MatchesPattern(text, pattern + u"b"));
  EXPECT_TRUE(MatchesPattern(text, pattern));
  EXPECT_FALSE(MatchesFileMask(text, pattern + u"b"));
}

}  // namespace
}  // namespace kavrel
