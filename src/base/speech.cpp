#include "base/speech.h"

#include <algorithm>
#include <atomic>

#include "base/embedded_translations.h"
#include "base/mo_file.h"
#include "base/text.h"

namespace kavrel {

namespace {

constexpr Language kLanguages[] = {
    {"zh_TW", u"中文（台灣）"},
    {"en", u"English"},
    {"zh_CN", u"简体中文"},
    {"ja", u"日本語"},
    {"de", u"Deutsch"},
    {"fr", u"Français"},
    {"es", u"Español"},
    // Not offered: they show whoever makes a window what texts of other languages do to it.
    {kLongLanguage, u"English, half as long again"},
    {kMirroredLanguage, u"English, from right to left"},
};
constexpr std::size_t kOffered = std::size(kLanguages) - 2;

/// The catalogue of a language; where there is none, which one's speakers of the language read.
std::string_view NextBestOf(std::string_view code) {
  return code == "zh_CN" ? "zh_TW" : code == "zh_TW" || code == "en" ? "" : "en";
}

bool IsPseudo(std::string_view code) {
  return code == kLongLanguage || code == kMirroredLanguage;
}

/// As much longer as texts of other languages are, without a change of what Fill looks for.
std::string Lengthened(std::string text) {
  constexpr std::string_view kMore = " äëïöü";
  const std::size_t wanted = text.size() + text.size() / 2;
  // What follows the last colon, a bracket or an ellipsis stays at the end.
  const std::size_t end = std::min(text.find_last_not_of(" :.)("), text.size() - 1) + 1;
  std::string more;
  while (text.size() + more.size() < wanted) more += kMore;
  return text.insert(std::min(end, text.size()), more);
}

const Speech& SpeechOf(std::size_t place) {
  static std::once_flag made[std::size(kLanguages)];
  static const Speech* speeches[std::size(kLanguages)];
  std::call_once(made[place], [place] { speeches[place] = new Speech(kLanguages[place]); });
  return *speeches[place];
}

/// Null until one is chosen: the first then.
std::atomic<const Speech*> current_speech{nullptr};

}  // namespace

Speech::Speech(const Language& language) : language_(language), own_(Load(language.Code)) {}

bool Speech::IsSource() const {
  return &language_ == &kLanguages[0];
}

Speech::Catalogue Speech::Load(std::string_view code) {
  Catalogue catalogue;
  for (const auto& [original, translation] :
       ReadMoFile(EmbeddedTranslation(IsPseudo(code) ? "en" : code))) {
    // The header's is empty.
    if (original.empty()) continue;
    Entry entry;
    std::string_view rest = translation;
    for (std::size_t end = 0; end != rest.npos; rest.remove_prefix(end + 1)) {
      end = rest.find('\0');
      const std::string_view form = rest.substr(0, end);
      entry.Narrow.push_back(code == kLongLanguage ? Lengthened(std::string(form))
                                                   : std::string(form));
      entry.Wide.push_back(FromUtf8(entry.Narrow.back()));
      if (end == rest.npos) break;
    }
    catalogue.emplace(FromUtf8(original.substr(0, original.find('\0'))), std::move(entry));
  }
  return catalogue;
}

const Speech::Catalogue& Speech::NextBest() const {
  std::call_once(next_best_loaded_, [this] { next_best_ = Load(NextBestOf(language_.Code)); });
  return next_best_;
}

const Speech::Entry* Speech::Find(const std::u16string& key) const {
  if (const auto found = own_.find(key); found != own_.end()) return &found->second;
  const Catalogue& other = NextBest();
  const auto found = other.find(key);
  return found == other.end() ? nullptr : &found->second;
}

const TextPatterns& Speech::Patterns() const {
  std::call_once(patterns_made_, [this] {
    std::vector<std::u16string_view> ids;
    for (const Catalogue* catalogue : {&own_, &NextBest()}) {
      for (const auto& [id, entry] : *catalogue) ids.push_back(id);
    }
    patterns_.emplace(std::move(ids));
  });
  return *patterns_;
}

const Speech& CurrentSpeech() {
  const Speech* speech = current_speech.load(std::memory_order_acquire);
  return speech ? *speech : SpeechOf(0);
}

std::span<const Language> Languages() {
  return std::span(kLanguages).first(kOffered);
}

const Language* FindLanguage(std::string_view locale) {
  std::string name(locale.substr(0, locale.find_first_of(".@")));
  std::ranges::replace(name, '-', '_');
  const std::string_view language = std::string_view(name).substr(0, name.find('_'));
  std::string_view code = language;
  if (language == "zh") {
    bool traditional = name.find("Hant") != name.npos;
    for (const std::string_view place : {"_TW", "_HK", "_MO"}) {
      traditional = traditional || (name.ends_with(place) && name.find("Hans") == name.npos);
    }
    code = traditional ? "zh_TW" : "zh_CN";
  }
  const auto found = std::ranges::find(Languages(), code, &Language::Code);
  return found == Languages().end() ? nullptr : &*found;
}

void SetLanguage(std::string_view code) {
  for (std::size_t place = 0; place < std::size(kLanguages); ++place) {
    if (kLanguages[place].Code == code) {
      current_speech.store(&SpeechOf(place), std::memory_order_release);
    }
  }
}

const Language& CurrentLanguage() {
  const Speech* speech = current_speech.load(std::memory_order_acquire);
  return speech ? speech->Which() : kLanguages[0];
}

}  // namespace kavrel
