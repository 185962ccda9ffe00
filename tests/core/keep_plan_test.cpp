// Thinning of states by their age, played over years.
#include "core/keep_plan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "base/text.h"

namespace kavrel {
namespace {

using std::chrono::days;
using std::chrono::hours;

KeepPlan Plan(std::u16string_view text) {
  std::u16string why;
  const std::optional<KeepPlan> plan = ParseKeepPlan(text, why);
  EXPECT_TRUE(plan) << ToUtf8(why);
  return plan.value_or(KeepPlan());
}

/// What is left of them, in their order.
std::vector<DatedState> Thinned(const KeepPlan& plan, const std::vector<DatedState>& states) {
  const std::vector<KeepVerdict> verdicts = JudgeStates(plan, states, states.front().Date);
  std::vector<DatedState> left;
  for (std::size_t i = 0; i < states.size(); ++i) {
    if (verdicts[i].Stays()) left.push_back(states[i]);
    if (verdicts[i].Why == KeepVerdict::Superseded) {
      EXPECT_TRUE(verdicts[verdicts[i].By].Stays());
    }
  }
  return left;
}

TEST(KeepPlan, IsReadAndWrittenAndFaultsAreNamed) {
  for (const ReadyPlan& ready : kReadyPlans) EXPECT_EQ(KeepPlanText(Plan(ready.Plan)), ready.Plan);
  EXPECT_EQ(KeepPlanText(Plan(u"  7d:all   10y:12h ")), u"7d:all 10y:12h");
  const std::pair<std::u16string_view, std::u16string_view> wrong[] = {
      {u"", u"計畫由"},
      {u"24h", u"「24h」不是"},
      {u"24:all", u"「24:all」不是"},
      {u"24h:", u"「24h:」不是"},
      {u"0d:1d", u"「0d:1d」不是"},
      {u"1d:0h", u"「1d:0h」不是"},
      {u"12345d:1d", u"「12345d:1d」不是"},
      {u"24h:ALL", u"「24h:ALL」不是"},
      {u"7d:all 7d:1d", u"「7d:1d」沒有"},
      {u"2mo:1d 8w:1w", u"「8w:1w」沒有"},
      {u"-1d:1d", u"「-1d:1d」不是"},
      {u"1d:1d:1d", u"「1d:1d:1d」不是"},
  };
  for (const auto& [text, expected] : wrong) {
    std::u16string why;
    EXPECT_FALSE(ParseKeepPlan(text, why)) << ToUtf8(text);
    EXPECT_TRUE(why.starts_with(expected)) << ToUtf8(why);
  }
}

TEST(KeepPlan, OverYearsOneOfEachTimeStaysAndNothingMore) {
  // A run every six hours, with gaps of days and of a year, thinned after each.
  const KeepPlan plan = Plan(u"24h:all 30d:1d 12w:1w 24mo:1mo");
  std::vector<DatedState> states;
  std::mt19937 random(1);
  DateTime now = *FromCivil(2009, 9, 23, 15);
  std::map<std::chrono::local_days, DateTime> newest_of_day;
  for (int run = 0; run < 4000; ++run) {
    now += hours(6);
    if (random() % 100 == 0) now += days(random() % 9);
    if (run == 3000) now += days(400);
    states.insert(states.begin(), {now});
    newest_of_day[std::chrono::floor<days>(now)] = now;
    states = Thinned(plan, states);
    // Five of a day, 30 days, 12 weeks of which some lie in those, 24 months, the newest three.
    ASSERT_LE(states.size(), 5U + 31 + 9 + 24 + 3);
    const auto has = [&](DateTime date) {
      return std::any_of(states.begin(), states.end(),
                         [&](const DatedState& one) { return one.Date == date; });
    };
    // Each day of the last 29 that had a run has its newest state.
    for (auto day = newest_of_day.lower_bound(std::chrono::floor<days>(now - days(29)));
         day != newest_of_day.end(); ++day) {
      ASSERT_TRUE(has(day->second)) << run;
    }
    // Over the last two years a month and the way to its end lie between two states at most, but
    // where nothing ran.
    for (std::size_t i = 1; i < states.size() && states[i].Date > now - days(700); ++i) {
      const auto next = newest_of_day.upper_bound(std::chrono::floor<days>(states[i].Date));
      if (next == newest_of_day.end()) continue;  // of the newest's own day
      ASSERT_LE(states[i - 1].Date, next->second + days(62)) << run;
    }
  }
  EXPECT_GE(states.size(), 40U);
}

TEST(KeepPlan, ThreeWholeOnesPinnedOnesAndUndatedOnesStayWhateverThePlanSays) {
  const KeepPlan plan = Plan(u"2d:1d");
  const DateTime now = *FromCivil(2009, 9, 23, 15);
  // The newest two are not whole, so they cannot stand for anything older.
  const std::vector<DatedState> states = {
      {now, false},
      {now - hours(1), false},
      {now - hours(2)},
      {now - hours(3)},
      {now - days(500)},
      {now - days(501)},
      {now - days(502), true, true},
      {kZeroDate},
  };
  const std::vector<KeepVerdict> verdicts = JudgeStates(plan, states, now);
  const KeepVerdict::Reason expected[] = {
      KeepVerdict::Newest, KeepVerdict::Newest, KeepVerdict::Newest, KeepVerdict::Newest,
      KeepVerdict::Newest, KeepVerdict::TooOld, KeepVerdict::Pinned, KeepVerdict::Undated};
  for (std::size_t i = 0; i < states.size(); ++i) EXPECT_EQ(verdicts[i].Why, expected[i]) << i;
  // A whole state is not let go for a newer one of its day that is not.
  const std::vector<DatedState> day = {{now},
                                       {now - hours(1)},
                                       {now - hours(2)},
                                       {now - days(1), false},
                                       {now - days(1) - hours(1)},
                                       {now - days(1) - hours(2)}};
  const std::vector<KeepVerdict> of_day = JudgeStates(plan, day, now);
  EXPECT_EQ(of_day[3].Why, KeepVerdict::Superseded);
  EXPECT_EQ(of_day[4].Why, KeepVerdict::First);
  EXPECT_EQ(of_day[5].By, 4U);
  EXPECT_TRUE(JudgeStates(plan, {}, now).empty());
  // One of a time that has not come yet makes nothing else old, and is none of the newest.
  std::vector<DatedState> ahead(states.begin() + 2, states.end());
  const std::vector<KeepVerdict> before = JudgeStates(plan, ahead, now);
  ahead.insert(ahead.begin(), {now + days(2000)});
  const std::vector<KeepVerdict> after = JudgeStates(plan, ahead, now);
  EXPECT_EQ(after[0].Why, KeepVerdict::Undated);
  for (std::size_t i = 0; i < before.size(); ++i) EXPECT_EQ(after[i + 1].Why, before[i].Why) << i;
}

TEST(KeepPlan, BucketsAreThoseOfTheCalendar) {
  const auto stays = [](std::u16string_view plan, std::initializer_list<DateTime> dates) {
    std::vector<DatedState> states;
    // Three that stay in any case, so that the plan decides about the others.
    for (int i = 0; i < 3; ++i) states.push_back({*FromCivil(2010, 3, 1, 12) - hours(i)});
    for (const DateTime date : dates) states.push_back({date});
    std::string text;
    const std::vector<KeepVerdict> verdicts = JudgeStates(Plan(plan), states, states.front().Date);
    for (std::size_t i = 3; i < verdicts.size(); ++i) text += verdicts[i].Stays() ? '+' : '-';
    return text;
  };
  // 2010-02-21 is a Sunday.
  EXPECT_EQ(stays(u"1y:1w", {*FromCivil(2010, 2, 21), *FromCivil(2010, 2, 20, 23, 59, 59),
                             *FromCivil(2010, 2, 14)}),
            "++-");
  EXPECT_EQ(stays(u"2y:1mo", {*FromCivil(2010, 1, 31), *FromCivil(2010, 1, 1),
                              *FromCivil(2009, 12, 31), *FromCivil(2009, 1, 31)}),
            "+-++");
  EXPECT_EQ(stays(u"9y:1y", {*FromCivil(2009, 12, 31), *FromCivil(2009, 1, 1),
                             *FromCivil(2008, 1, 1), *FromCivil(2000, 1, 1)}),
            "+-+-");
  EXPECT_EQ(stays(u"9d:1d", {*FromCivil(2010, 2, 28, 0), *FromCivil(2010, 2, 27, 23),
                             *FromCivil(2010, 2, 27, 0)}),
            "++-");
}

}  // namespace
}  // namespace kavrel
