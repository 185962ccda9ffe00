// Which states of a job stay: thinned by their age, so that recent ones lie close together and old
// ones far apart. Decides only; engine/keep_newest carries it out.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/date_time.h"
#include "core/job_extras.h"

namespace kavrel {

/// A length of time as plans write it: "24h", "30d", "12w", "24mo", "5y".
struct KeepSpan {
  enum class Unit : std::uint8_t { Hours, Days, Weeks, Months, Years };
  std::int32_t Count = 1;  ///< 1 to 9999
  Unit In = Unit::Days;
  bool operator==(const KeepSpan&) const = default;
};

/// Of the states that are at most `Within` older than the newest, the newest of each `Every` stays;
/// all of them without one.
struct KeepStep {
  KeepSpan Within;
  std::optional<KeepSpan> Every;
  bool operator==(const KeepStep&) const = default;
};

/// The steps, the shortest first. A state belongs to the first that reaches it.
using KeepPlan = std::vector<KeepStep>;

/// Reads "24h:all 30d:1d 12w:1w 24mo:1mo". Nothing when the text is no plan; `why` then tells which
/// part is wrong and what is expected.
std::optional<KeepPlan> ParseKeepPlan(std::u16string_view text, std::u16string& why);
inline std::optional<KeepPlan> ParseKeepPlan(std::u16string_view text) {
  std::u16string why;
  return ParseKeepPlan(text, why);
}
/// The plan as ParseKeepPlan reads it, one blank between its steps.
std::u16string KeepPlanText(const KeepPlan& plan);

/// What a plan looks at. `Whole`: it can stand for the others of its time; one that is not does so
/// only where no whole one is.
struct DatedState {
  DateTime Date;
  bool Whole = true;
  bool Pinned = false;
};

/// Why a state stays or goes.
struct KeepVerdict {
  enum Reason : std::uint8_t {
    Newest,      ///< stays: one of the newest, or newer than the newest whole one
    Pinned,      ///< stays: pinned
    All,         ///< stays: in a step that keeps all
    First,       ///< stays: the newest of its hour, day, week ... of its step
    Undated,     ///< stays: its date is not known, or has not come yet
    Superseded,  ///< goes: a newer one stands for that time, `By`
    TooOld,      ///< goes: older than every step
    TooMany,     ///< goes: as many newer ones are kept
  } Why = Newest;
  std::size_t Step = 0;  ///< of All, First, Superseded
  std::size_t By = 0;    ///< of Superseded: which one stands for its time, in the list
  bool Stays() const { return Why < Superseded; }
};

/// At least so many whole states stay, whatever a plan says.
inline constexpr std::size_t kLeastKept = 3;

/// A verdict for each of the states, which come the newest first. Ages count from the newest, not
/// from now: a job that has rested for a year loses nothing by that. What is dated after `now` was
/// made while the clock was wrong, and makes nothing else old. Hours, days, weeks (from Sunday),
/// months and years are the calendar's; several of them are counted from a fixed day.
/// Nor does a rest make anything older.
std::vector<KeepVerdict> JudgeStates(const KeepPlan& plan, const std::vector<DatedState>& states,
                                     DateTime now, const std::vector<JobRest>& rests = {});

/// The plans that the editor offers.
struct ReadyPlan {
  std::u16string_view Name, Plan;
};
inline constexpr ReadyPlan kReadyPlans[] = {
    {u"短期（一個月）", u"24h:all 30d:1d"},
    {u"一般（兩年）", u"24h:all 30d:1d 12w:1w 24mo:1mo"},
    {u"長期（十年）", u"24h:all 30d:1d 26w:1w 24mo:1mo 10y:1y"},
    {u"節省空間（半年）", u"7d:1d 4w:1w 6mo:1mo"},
};

}  // namespace kavrel
