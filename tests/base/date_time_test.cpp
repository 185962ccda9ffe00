#include "base/date_time.h"

#include <gtest/gtest.h>

#include <random>

#include "base/text.h"

namespace kavrel {
namespace {

TEST(DateTime, GeneralTextDropsMidnightAndTheZeroDate) {
  EXPECT_EQ(DateTimeText(*FromCivil(2009, 9, 23, 15, 4, 5)), u"2009/9/23 下午 03:04:05");
  EXPECT_EQ(DateTimeText(*FromCivil(2009, 9, 23, 0, 4, 5)), u"2009/9/23 上午 12:04:05");
  EXPECT_EQ(DateTimeText(*FromCivil(2009, 12, 3, 12)), u"2009/12/3 下午 12:00:00");
  EXPECT_EQ(DateTimeText(*FromCivil(2009, 9, 23)), u"2009/9/23");
  EXPECT_EQ(DateTimeText(kZeroDate + std::chrono::hours(1)), u"上午 01:00:00");
  EXPECT_EQ(DateTimeText(kZeroDate), u"上午 12:00:00");
}

TEST(DateTime, WhatIsWrittenIsReadBack) {
  std::mt19937_64 random(3);
  for (int i = 0; i < 5000; ++i) {
    const DateTime time =
        kZeroDate +
        std::chrono::seconds(static_cast<std::int64_t>(random() % (200ULL * 366 * 86400)));
    ASSERT_EQ(ParseDateTime(DateTimeText(time)), time) << ToUtf8(DateTimeText(time));
  }
  EXPECT_EQ(ParseDateTime(DateTimeText(kZeroDate)), kZeroDate);
}

TEST(DateTime, ReaderTakesTheUsualFormsAndRefusesNonsense) {
  const DateTime expected = *FromCivil(2009, 9, 23, 15, 4, 5);
  for (const std::u16string_view text :
       {u"2009/9/23 下午 03:04:05", u"2009/09/23 15:04:05", u"2009-9-23 3:04:05 PM",
        u" 2009-09-23 pm 3:04:05", u"2009/9/23 下午03:04:05", u"2009-09-23T15:04:05",
        u"2009/9/23 下午 15:04:05", u"40079.6278356481", u"09/9/23 下午 03:04:05",
        u"2009年9月23日 15:04:05", u"2009年09月23日下午3:04:05", u"2009.9.23 15:04:05",
        u"2009/9/23 星期三 下午 03:04:05", u"2009年9月23日 (三) 15:04:05",
        u"2009/9/23(週三) 15:04:05"}) {
    EXPECT_EQ(ParseDateTime(text), expected) << ToUtf8(text);
  }
  EXPECT_EQ(ParseDateTime(u"2009/9/23 15:04"), *FromCivil(2009, 9, 23, 15, 4));
  EXPECT_EQ(ParseDateTime(u"2009/9/23"), *FromCivil(2009, 9, 23));
  EXPECT_EQ(ParseDateTime(u"上午 12:30:00"), kZeroDate + std::chrono::minutes(30));
  EXPECT_EQ(ParseDateTime(u"12:30 AM"), kZeroDate + std::chrono::minutes(30));
  EXPECT_EQ(ParseDateTime(u"09/9/23 3 PM"), *FromCivil(2009, 9, 23, 15));
  EXPECT_EQ(ParseDateTime(u"下午3"), kZeroDate + std::chrono::hours(15));
  EXPECT_EQ(ParseDateTime(u"30-1-2"), *FromCivil(1930, 1, 2));
  EXPECT_EQ(ParseDateTime(u"29.1.2"), *FromCivil(2029, 1, 2));
  EXPECT_EQ(ParseDateTime(u"40079"), *FromCivil(2009, 9, 23));
  EXPECT_EQ(ParseDateTime(u"-1.25"), *FromCivil(1899, 12, 29, 6));
  for (const std::u16string_view text : {u"",
                                         u"2009/2/30",
                                         u"2009/13/1",
                                         u"25:00",
                                         u"10:60",
                                         u"2009/9/23 上午 15:00",
                                         u"下午",
                                         u"2009/9/23 2009/9/24",
                                         u"10:00 11:00",
                                         u"2009/9-23",
                                         u"99999/1/1",
                                         u"1e300",
                                         u"text",
                                         u"2009年9月",
                                         u"三",
                                         u"星期三",
                                         u"2009/9/23 3",
                                         u"13:00:",
                                         u"100/9",
                                         u"2009/9/23 noon",
                                         u"2009/9/23 下午",
                                         u"1/2",
                                         u"99999999999999999999",
                                         u"-9e5"}) {
    EXPECT_EQ(ParseDateTime(text), std::nullopt) << ToUtf8(text);
  }
}

TEST(DateTime, MonthsClampToTheLastDay) {
  EXPECT_EQ(AddMonths(*FromCivil(2009, 1, 31, 8), 1), *FromCivil(2009, 2, 28, 8));
  EXPECT_EQ(AddMonths(*FromCivil(2008, 1, 31), 1), *FromCivil(2008, 2, 29));
  EXPECT_EQ(AddMonths(*FromCivil(2009, 11, 30), 15), *FromCivil(2011, 2, 28));
}

}  // namespace
}  // namespace kavrel
