#include "base/translation.h"

#include "base/screen_format.h"
#include "base/speech.h"
#include "base/text.h"

namespace kavrel {

namespace {

template <class Text>
std::basic_string<typename Text::value_type> FillText(Text text, std::initializer_list<Text> with) {
  std::basic_string<typename Text::value_type> filled;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = text[i];
    const auto next = i + 1 < text.size() ? text[i + 1] : 0;
    const std::size_t number =
        next >= '1' && next <= '9' ? static_cast<std::size_t>(next - '0') : 0;
    if (c == '%' && number > 0 && number <= with.size()) {
      filled += *(with.begin() + number - 1);
      ++i;
    } else {
      filled += c;
    }
  }
  return filled;
}

}  // namespace

std::u16string_view Tr(std::u16string_view id) {
  const Speech::Entry* entry = CurrentSpeech().Find(std::u16string(id));
  return entry ? std::u16string_view(entry->Wide.front()) : id;
}

const char* Tr(const char* id) {
  const Speech::Entry* entry = CurrentSpeech().Find(FromUtf8(id));
  return entry ? entry->Narrow.front().c_str() : id;
}

std::u16string_view TrIn(const char* context, std::u16string_view id) {
  const Speech::Entry* entry =
      CurrentSpeech().Find(FromUtf8(std::string(context) + kContextEnds) + std::u16string(id));
  return entry ? std::u16string_view(entry->Wide.front()) : id;
}

std::u16string TrCount(std::u16string_view id, std::uint64_t count) {
  const Speech& speech = CurrentSpeech();
  const Speech::Entry* entry = speech.Find(std::u16string(id));
  const std::u16string_view form =
      entry ? std::u16string_view(FormFor(entry->Wide, speech.Which().Code, count)) : id;
  return Fill(form, {ScreenNumber(count)});
}

std::string TrCount(const char* one, const char* many, std::uint64_t count) {
  const Speech& speech = CurrentSpeech();
  const Speech::Entry* entry = speech.Find(FromUtf8(one));
  const std::string_view form =
      entry ? std::string_view(FormFor(entry->Narrow, speech.Which().Code, count))
            : std::string_view(count == 1 ? one : many);
  return Fill(form, {ToUtf8(ScreenNumber(count))});
}

std::u16string Fill(std::u16string_view text,
                    std::initializer_list<std::u16string_view> arguments) {
  return FillText(text, arguments);
}

std::string Fill(std::string_view text, std::initializer_list<std::string_view> arguments) {
  return FillText(text, arguments);
}

}  // namespace kavrel
