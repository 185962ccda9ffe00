// Shown and ShownName of base/translation.h: which text of the source another one was composed of,
// and the same in the user's language.
#include <optional>

#include "base/number.h"
#include "base/screen_format.h"
#include "base/speech.h"
#include "base/text.h"
#include "base/text_pattern.h"
#include "base/translation.h"

namespace kavrel {

namespace {

// Texts in texts: a summary of a reason of an error.
constexpr int kDeepest = 4;

std::optional<std::u16string> Known(const Speech& speech, std::u16string_view text, int depth);

/// Nothing for a name that the program has not given.
std::optional<std::u16string> KnownName(const Speech& speech, std::u16string_view name) {
  const std::u16string key = u"name" + std::u16string(1, kContextEnds) + std::u16string(name);
  if (const Speech::Entry* entry = speech.Find(key)) return entry->Wide.front();
  const std::optional<PatternMatch> match = speech.Patterns().Match(key);
  if (!match || !match->Id.starts_with(key.substr(0, 5))) return std::nullopt;
  std::u16string shown[2];
  for (const PatternMatch::Argument& argument : match->Arguments) {
    shown[argument.Number - 1] =
        KnownName(speech, argument.Text).value_or(std::u16string(argument.Text));
  }
  return Fill(speech.Find(std::u16string(match->Id))->Wide.front(), {shown[0], shown[1]});
}

/// Text that is not known, with the system's errors in it as they are shown: what failed stands
/// before one, a path behind it.
std::u16string WithErrors(const Speech& speech, std::u16string_view text, int depth) {
  constexpr std::u16string_view kError = u"(錯誤：";
  const std::size_t open = text.find(kError);
  const std::size_t close = open == text.npos ? open : text.find(u')', open);
  if (close == text.npos) return std::u16string(text);
  const auto error = Known(speech, text.substr(open + 1, close - open - 1), depth + 1);
  if (!error) return std::u16string(text);
  return std::u16string(text.substr(0, open + 1)) + *error + std::u16string(text.substr(close));
}

/// A path, and behind it in parentheses the reason, which alone is shown in the user's words. What
/// stands there may be the end of a name, too; so it has to be more than a figure or a short word.
std::u16string WithReason(const Speech& speech, std::u16string_view text, int depth) {
  constexpr std::size_t kShortest = 4;
  constexpr std::u16string_view kOpen = u" (";
  std::size_t open = text.ends_with(u')') ? text.find(kOpen) : text.npos;
  for (; open != text.npos; open = text.find(kOpen, open + 1)) {
    const std::size_t begin = open + kOpen.size();
    const std::u16string_view reason = text.substr(begin, text.size() - begin - 1);
    if (reason.size() < kShortest) break;
    if (reason.front() >= u'0' && reason.front() <= u'9') continue;
    const std::optional<std::u16string> shown = Known(speech, reason, depth + 1);
    if (shown) return std::u16string(text.substr(0, begin)) + *shown + u')';
  }
  return WithErrors(speech, text, depth);
}

std::u16string ShownAt(const Speech& speech, std::u16string_view text, int depth) {
  const std::optional<std::u16string> known = Known(speech, text, depth);
  if (known) return *known;
  // A line of a log begins so, behind its time.
  constexpr std::u16string_view kTold = u": ";
  if (text.starts_with(kTold)) {
    return std::u16string(kTold) + ShownAt(speech, text.substr(kTold.size()), depth);
  }
  return WithErrors(speech, text, depth);
}

/// Pieces that are all known, behind each other with `shown_separator`; nothing when one is not.
std::optional<std::u16string> KnownPieces(const Speech& speech, std::u16string_view text,
                                          std::u16string_view separator,
                                          std::u16string_view shown_separator, int depth) {
  if (text.find(separator) == text.npos) return std::nullopt;
  std::u16string shown;
  for (std::u16string_view rest = text;;) {
    const std::size_t end = rest.find(separator);
    const std::optional<std::u16string> piece = Known(speech, rest.substr(0, end), depth + 1);
    if (!piece) return std::nullopt;
    shown += *piece;
    if (end == rest.npos) return shown;
    shown += shown_separator;
    rest.remove_prefix(end + separator.size());
  }
}

/// A date-time as DateTimeText writes it. No other text looks like one, not even in quotation
/// marks.
std::optional<std::u16string> KnownTime(std::u16string_view text) {
  const std::optional<DateTime> time = ParseDateTime(text);
  return time && DateTimeText(*time) == text ? std::optional(ScreenDateTime(*time)) : std::nullopt;
}

/// A number, one with a unit ("1.50 MB", "40 %"), or a date-time.
std::optional<std::u16string> KnownFigure(std::u16string_view text) {
  if (text.front() < u'0' || text.front() > u'9') return std::nullopt;
  const std::size_t blank = text.find(u' ');
  if (blank == text.npos) return ScreenNumberOf(text);
  for (const std::u16string_view unit : {u" KB", u" MB", u" GB", u" TB", u" %"}) {
    if (text.substr(blank) != unit) continue;
    const std::optional<std::u16string> amount = ScreenNumberOf(text.substr(0, blank));
    if (amount) return *amount + std::u16string(unit);
  }
  return KnownTime(text);
}

/// Two that are known, the second in parentheses: "1.50 MB (1,572,864 位元)".
std::optional<std::u16string> KnownWithMore(const Speech& speech, std::u16string_view text,
                                            int depth) {
  const std::size_t open = text.find(u" (");
  if (open == text.npos || !text.ends_with(u')')) return std::nullopt;
  const auto first = Known(speech, text.substr(0, open), depth + 1);
  const auto second = Known(speech, text.substr(open + 2, text.size() - open - 3), depth + 1);
  if (!first || !second) return std::nullopt;
  return *first + u" (" + *second + u")";
}

/// A list of names, each in brackets: "「照片」、「文件」".
std::optional<std::u16string> KnownNames(const Speech& speech, std::u16string_view text) {
  if (!text.starts_with(u'「') || !text.ends_with(u'」')) return std::nullopt;
  constexpr std::u16string_view kBetween = u"」、「";
  std::u16string shown;
  for (std::u16string_view rest = text.substr(1, text.size() - 2);;) {
    const std::u16string name(rest.substr(0, rest.find(kBetween)));
    shown += Fill(TrIn("names", u"「%1」"), {KnownName(speech, name).value_or(name)});
    if (name.size() == rest.size()) return shown;
    shown += Tr(u"、");
    rest.remove_prefix(name.size() + kBetween.size());
  }
}

/// What an id with arguments has become.
std::optional<std::u16string> KnownPattern(const Speech& speech, std::u16string_view text,
                                           int depth) {
  const std::optional<PatternMatch> match = speech.Patterns().Match(text);
  const Speech::Entry* entry = match ? speech.Find(std::u16string(match->Id)) : nullptr;
  if (!entry) return std::nullopt;
  std::u16string shown[9];
  std::uint64_t count = 0;
  for (const PatternMatch::Argument& argument : match->Arguments) {
    const std::optional<std::u16string> name =
        argument.Quoted || match->Follows ? KnownName(speech, argument.Text) : std::nullopt;
    const std::u16string plain =
        argument.Quoted ? KnownTime(argument.Text).value_or(std::u16string(argument.Text))
                        : ShownAt(speech, argument.Text, depth + 1);
    shown[argument.Number - 1] = name.value_or(plain);
    if (argument.Number != 1) continue;
    const std::optional<std::int32_t> number = ParseInt(ReplaceAll(argument.Text, u",", u""));
    // What is no number, or a large one, is not one of anything.
    count = number && *number >= 0 ? static_cast<std::uint64_t>(*number) : 2;
  }
  std::u16string form = FormFor(entry->Wide, speech.Which().Code, count);
  if (match->Follows) form += u"%1";
  return Fill(form, {shown[0], shown[1], shown[2], shown[3], shown[4], shown[5], shown[6], shown[7],
                     shown[8]});
}

/// What a line of a log tells in front of a path: such a line begins with ": ", and ends with a
/// colon where the path begins.
std::optional<std::u16string> KnownHead(const Speech& speech, std::u16string_view text) {
  constexpr std::u16string_view kBefore = u": ";
  const Speech::Entry* entry = speech.Find(std::u16string(kBefore) + std::u16string(text) + u"：");
  if (!entry) return std::nullopt;
  std::u16string_view head = entry->Wide.front();
  if (head.starts_with(kBefore)) head.remove_prefix(kBefore.size());
  while (!head.empty() && (head.back() == u'：' || head.back() == u':' || head.back() == u' ' ||
                           head.back() == u'\u00A0')) {
    head.remove_suffix(1);
  }
  return std::u16string(head);
}

/// What a log tells of one file: what, a blank, its path, and the reason in parentheses.
std::optional<std::u16string> KnownTrouble(const Speech& speech, std::u16string_view text,
                                           int depth) {
  const std::size_t close = text.find(u") ");
  if (close == text.npos) return std::nullopt;
  auto head = KnownHead(speech, text.substr(0, close + 1));
  if (!head) head = Known(speech, text.substr(0, close + 1), depth + 1);
  if (!head) return std::nullopt;
  // Where no path follows, a guard tells what is the matter.
  const std::u16string_view rest = text.substr(close + 2);
  const bool path = rest.find_first_of(u"/\\") < 3;
  const auto matter = path ? std::nullopt : Known(speech, rest, depth + 1);
  return *head + u" " + (matter ? *matter : WithReason(speech, rest, depth));
}

/// Two that are known, with a colon between them.
std::optional<std::u16string> KnownWithDetail(const Speech& speech, std::u16string_view text,
                                              int depth) {
  const std::size_t colon = text.find(u'：');
  if (colon == text.npos) return std::nullopt;
  const auto first = Known(speech, text.substr(0, colon), depth + 1);
  const auto second = Known(speech, text.substr(colon + 1), depth + 1);
  if (!first || !second) return std::nullopt;
  return *first + std::u16string(Tr(u"：")) + *second;
}

std::optional<std::u16string> Known(const Speech& speech, std::u16string_view text, int depth) {
  if (text.empty() || depth > kDeepest) return std::nullopt;
  if (const Speech::Entry* entry = speech.Find(std::u16string(text))) return entry->Wide.front();
  std::optional<std::u16string> shown = KnownFigure(text);
  if (!shown) shown = KnownPieces(speech, text, u" / ", u" / ", depth);
  if (!shown) shown = KnownPieces(speech, text, u"，", Tr(u"，"), depth);
  if (!shown) shown = KnownPieces(speech, text, u", ", u", ", depth);
  if (!shown) shown = KnownWithMore(speech, text, depth);
  if (!shown) shown = KnownPattern(speech, text, depth);
  if (!shown) shown = KnownNames(speech, text);
  if (!shown) shown = KnownHead(speech, text);
  if (!shown) shown = KnownTrouble(speech, text, depth);
  if (!shown) shown = KnownWithDetail(speech, text, depth);
  return shown;
}

}  // namespace

std::u16string ShownName(std::u16string_view name) {
  const Speech& speech = CurrentSpeech();
  if (speech.IsSource()) return std::u16string(name);
  return KnownName(speech, name).value_or(std::u16string(name));
}

std::u16string Shown(std::u16string_view text) {
  const Speech& speech = CurrentSpeech();
  // The source speaks it.
  if (speech.IsSource()) return std::u16string(text);
  if (const Speech::Entry* entry = speech.Find(std::u16string(text))) return entry->Wide.front();
  // Each line is a text of its own.
  std::u16string shown;
  for (std::u16string_view rest = text;;) {
    const std::size_t end = rest.find(u'\n');
    shown += ShownAt(speech, rest.substr(0, end), 0);
    if (end == rest.npos) return shown;
    shown += u'\n';
    rest.remove_prefix(end + 1);
  }
}

}  // namespace kavrel
