#include "core/keep_plan.h"

#include <algorithm>
#include <map>

#include "base/number.h"
#include "base/text.h"
#include "base/translation.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kUnits[] = {u"h", u"d", u"w", u"mo", u"y"};
constexpr std::size_t kMostDigits = 4;

std::optional<KeepSpan> ParseSpan(std::u16string_view text) {
  std::size_t digits = 0;
  std::int32_t count = 0;
  while (digits < text.size() && digits < kMostDigits && text[digits] >= u'0' &&
         text[digits] <= u'9') {
    count = count * 10 + (text[digits++] - u'0');
  }
  const auto* const unit = std::find(std::begin(kUnits), std::end(kUnits), text.substr(digits));
  if (count == 0 || unit == std::end(kUnits)) return std::nullopt;
  return KeepSpan{count, static_cast<KeepSpan::Unit>(unit - std::begin(kUnits))};
}

std::u16string SpanText(const KeepSpan& span) {
  return Decimal(span.Count) + std::u16string(kUnits[static_cast<std::size_t>(span.In)]);
}

/// The moment that lies so much before.
DateTime Before(DateTime moment, const KeepSpan& span) {
  using namespace std::chrono;
  switch (span.In) {
    case KeepSpan::Unit::Hours:
      return moment - hours(span.Count);
    case KeepSpan::Unit::Days:
      return moment - days(span.Count);
    case KeepSpan::Unit::Weeks:
      return moment - days(7 * span.Count);
    case KeepSpan::Unit::Months:
      return AddMonths(moment, -span.Count);
    case KeepSpan::Unit::Years:
      break;
  }
  // No date that a state can have is so old that the years of a plan would lead out of the
  // calendar.
  return AddMonths(moment, -12 * std::min(span.Count, 1000));
}

std::int64_t FloorDiv(std::int64_t number, std::int64_t by) {
  return number / by - (number % by < 0 ? 1 : 0);
}

/// Which of these spans, counted from a fixed day, the moment lies in.
std::int64_t BucketOf(DateTime moment, const KeepSpan& span) {
  using namespace std::chrono;
  const std::int64_t hour = floor<hours>(moment).time_since_epoch().count();
  const std::int64_t day = floor<days>(moment).time_since_epoch().count();
  const CivilTime civil = ToCivil(moment);
  switch (span.In) {
    case KeepSpan::Unit::Hours:
      return FloorDiv(hour, span.Count);
    case KeepSpan::Unit::Days:
      return FloorDiv(day, span.Count);
    // The day that days are counted from, 1970-01-01, was a Thursday.
    case KeepSpan::Unit::Weeks:
      return FloorDiv(FloorDiv(day + 4, 7), span.Count);
    case KeepSpan::Unit::Months:
      return FloorDiv(civil.Year * 12 + civil.Month - 1, span.Count);
    case KeepSpan::Unit::Years:
      break;
  }
  return FloorDiv(civil.Year, span.Count);
}

/// The moment that lies as much before the newest as the date does, without the rests between them.
DateTime WithoutRests(DateTime date, DateTime newest, const std::vector<JobRest>& rests) {
  DateTime moment = date;
  for (const JobRest& rest : rests) {
    const DateTime from = std::max(rest.From, date), to = std::min(rest.To, newest);
    if (from < to) moment += to - from;
  }
  return std::min(moment, newest);
}

/// The step that reaches the date; the plan's size where none does.
std::size_t StepOf(const KeepPlan& plan, DateTime newest, DateTime date) {
  const auto found = std::find_if(plan.begin(), plan.end(), [&](const KeepStep& step) {
    return date >= Before(newest, step.Within);
  });
  return static_cast<std::size_t>(found - plan.begin());
}

/// Who stands for a span of a step: the newest whole one, else the newest.
using Buckets = std::map<std::pair<std::size_t, std::int64_t>, std::size_t>;

}  // namespace

std::optional<KeepPlan> ParseKeepPlan(std::u16string_view text, std::u16string& why) {
  KeepPlan plan;
  std::size_t at = 0;
  while (true) {
    at = std::min(text.find_first_not_of(u' ', at), text.size());
    if (at == text.size()) break;
    const std::size_t end = std::min(text.find(u' ', at), text.size());
    const std::u16string_view part = text.substr(at, end - at);
    at = end;
    const std::size_t colon = std::min(part.find(u':'), part.size());
    const std::optional<KeepSpan> within = ParseSpan(part.substr(0, colon));
    const std::u16string_view every = part.substr(std::min(colon + 1, part.size()));
    KeepStep step{within.value_or(KeepSpan()), std::nullopt};
    if (every != u"all") step.Every = ParseSpan(every);
    if (!within || (every != u"all" && !step.Every)) {
      why = Fill(u"「%1」不是 24h:all 或 30d:1d 這樣的一段（單位 h、d、w、mo、y）。", {part});
      return std::nullopt;
    }
    const DateTime any = *FromCivil(2000, 1, 1);
    if (!plan.empty() && Before(any, step.Within) >= Before(any, plan.back().Within)) {
      why = Fill(u"「%1」沒有比前一段更早。", {part});
      return std::nullopt;
    }
    plan.push_back(step);
  }
  if (plan.empty()) {
    why = u"計畫由 24h:all 30d:1d 12w:1w 這樣的幾段組成。";
    return std::nullopt;
  }
  return plan;
}

std::u16string KeepPlanText(const KeepPlan& plan) {
  std::u16string text;
  for (const KeepStep& step : plan) {
    if (!text.empty()) text += u' ';
    (text += SpanText(step.Within)) += u':';
    text += step.Every ? SpanText(*step.Every) : std::u16string(u"all");
  }
  return text;
}

std::vector<KeepVerdict> JudgeStates(const KeepPlan& plan, const std::vector<DatedState>& states,
                                     DateTime now, const std::vector<JobRest>& rests) {
  std::vector<KeepVerdict> verdicts(states.size());
  const auto dated = [now](const DatedState& state) {
    return state.Date != kZeroDate && state.Date <= now;
  };
  const auto newest = std::find_if(states.begin(), states.end(), dated);
  if (newest == states.end()) {
    for (KeepVerdict& verdict : verdicts) verdict.Why = KeepVerdict::Undated;
    return verdicts;
  }
  const auto step_of = [&](const DatedState& state) {
    return StepOf(plan, newest->Date, WithoutRests(state.Date, newest->Date, rests));
  };
  Buckets buckets;
  for (std::size_t i = 0; i < states.size(); ++i) {
    const std::size_t step = step_of(states[i]);
    if (!dated(states[i]) || step == plan.size() || !plan[step].Every) continue;
    const auto [place, first] =
        buckets.try_emplace({step, BucketOf(states[i].Date, *plan[step].Every)}, i);
    if (!first && states[i].Whole && !states[place->second].Whole) place->second = i;
  }
  std::size_t whole = 0;
  for (std::size_t i = 0; i < states.size(); ++i) {
    const DatedState& state = states[i];
    KeepVerdict& verdict = verdicts[i];
    if (!dated(state)) {
      verdict.Why = state.Pinned ? KeepVerdict::Pinned : KeepVerdict::Undated;
      continue;
    }
    const bool among_newest = whole < kLeastKept && (state.Whole || whole == 0);
    whole += state.Whole;
    verdict.Step = step_of(state);
    if (state.Pinned) {
      verdict.Why = KeepVerdict::Pinned;
    } else if (among_newest) {
      verdict.Why = KeepVerdict::Newest;
    } else if (verdict.Step == plan.size()) {
      verdict.Why = KeepVerdict::TooOld;
    } else if (!plan[verdict.Step].Every) {
      verdict.Why = KeepVerdict::All;
    } else {
      verdict.By = buckets.at({verdict.Step, BucketOf(state.Date, *plan[verdict.Step].Every)});
      verdict.Why = verdict.By == i ? KeepVerdict::First : KeepVerdict::Superseded;
    }
  }
  return verdicts;
}

}  // namespace kavrel
