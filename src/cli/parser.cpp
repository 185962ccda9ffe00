#include "cli/parser.h"

#include <algorithm>
#include <string_view>

#include "base/number.h"
#include "base/screen_format.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/console.h"

namespace kavrel {

namespace {

/// The parser takes a name in brackets for a list of names. No argument can hold this; behind one
/// it makes the brackets letters like any others.
constexpr char kNoList = '\0';

void TakeAsTheyStand(CLI::App& app) {
  for (CLI::Option* option : app.get_options()) {
    option->transform([](std::string value) {
      if (value.ends_with(kNoList)) value.pop_back();
      return value;
    });
  }
  for (CLI::App* command : app.get_subcommands({})) TakeAsTheyStand(*command);
}

/// An empty value comes of a script's variable that nobody has set. It must not stand for the whole
/// backup, the source or the folder of now. Not for add and edit, which tell for each option what
/// it means, nor for what is a text of its own.
void RefuseEmptyValues(CLI::App& app) {
  const CLI::Validator given(
      [](const std::string& value) {
        return value.empty() ? std::string(Tr("must not be empty")) : std::string();
      },
      "");
  for (CLI::Option* option : app.get_options()) {
    if (option->get_items_expected_max() > 0) option->check(given);
  }
  for (CLI::App* command : app.get_subcommands({})) {
    const std::string& name = command->get_name();
    const bool own_texts = name == "add" || name == "edit" || name == "rules" ||
                           name == "filters" || name == "settings";
    if (!own_texts) RefuseEmptyValues(*command);
  }
}

/// What an option takes, as the help names it: the kind, and behind a colon the values.
std::string ShownType(const std::string& type) {
  const std::size_t colon = std::min(type.find(':'), type.size());
  const std::string kind = type.substr(0, colon);
  const char* shown = kind == "TEXT"                    ? Tr("TEXT")
                      : kind == "INT" || kind == "UINT" ? Tr("NUMBER")
                                                        : kind.c_str();
  return shown + type.substr(colon);
}

/// The library makes columns of bytes. A character of Chinese has three of them, and is two wide.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_option(const CLI::Option* option, bool positional) const override {
    const std::string name = "  " + make_option_name(option, positional) + make_option_opts(option);
    const std::size_t width = DisplayWidth(FromUtf8(name)), column = get_column_width();
    const std::string gap =
        width < column ? std::string(column - width, ' ') : "\n" + std::string(column, ' ');
    return name + gap + make_option_desc(option) + "\n";
  }
};

/// The parser's own words in the help of a command and of those below it.
void NameParts(CLI::App& app, const std::shared_ptr<HelpFormatter>& help) {
  app.formatter(help);
  for (const char* id : {TrLater("Usage"), TrLater("Positionals"), TrLater("REQUIRED"),
                         TrLater("Excludes"), TrLater("OPTIONS"), TrLater("SUBCOMMAND")}) {
    help->label(id, Tr(id));
  }
  for (CLI::Option* option : app.get_options()) {
    const std::string type = option->get_type_name();
    if (!type.empty()) help->label(type, ShownType(type));
    if (!option->get_positional()) option->group(Tr("Options"));
  }
  for (CLI::App* command : app.get_subcommands({})) {
    command->group(Tr("Subcommands"));
    NameParts(*command, help);
  }
}

/// How many letters are to be added, taken away, changed or swapped to make one of the other.
std::size_t Distance(const std::string& one, const std::string& other) {
  std::vector<std::vector<std::size_t>> least(one.size() + 1,
                                              std::vector<std::size_t>(other.size() + 1));
  for (std::size_t i = 0; i <= one.size(); ++i) {
    for (std::size_t j = 0; j <= other.size(); ++j) {
      if (i == 0 || j == 0) {
        least[i][j] = i + j;
        continue;
      }
      const std::size_t changed = one[i - 1] == other[j - 1] ? 0 : 1;
      least[i][j] =
          std::min({least[i - 1][j] + 1, least[i][j - 1] + 1, least[i - 1][j - 1] + changed});
      if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1]) {
        least[i][j] = std::min(least[i][j], least[i - 2][j - 2] + 1);
      }
    }
  }
  return least[one.size()][other.size()];
}

/// The command or the option that may have been meant; empty where nothing is near.
std::string Meant(const CLI::App& app, const std::vector<std::string>& given) {
  constexpr std::size_t kFarthest = 2;
  const CLI::App* command = &app;
  for (std::size_t i = 1; i < given.size() && given[i] != "--"; ++i) {
    const std::string word = given[i].substr(0, given[i].find('='));
    std::vector<std::string> known;
    if (word.starts_with("--")) {
      for (const CLI::App* level : {&app, command}) {
        for (const CLI::Option* option : level->get_options()) {
          for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
        }
      }
    } else {
      const std::vector<const CLI::App*> below =
          command->get_subcommands([](const CLI::App*) { return true; });
      const auto found = std::find_if(below.begin(), below.end(),
                                      [&](const CLI::App* one) { return one->get_name() == word; });
      if (found != below.end()) {
        command = *found;
        continue;
      }
      if (word.starts_with('-')) continue;
      for (const CLI::App* one : below) known.push_back(one->get_name());
    }
    const auto nearest =
        std::min_element(known.begin(), known.end(), [&](const auto& one, const auto& other) {
          return Distance(word, one) < Distance(word, other);
        });
    if (nearest == known.end()) continue;
    const std::size_t distance = Distance(word, *nearest);
    if (distance > 0 && distance <= kFarthest && distance < nearest->size() - 1) return *nearest;
  }
  return {};
}

std::string Safe(std::string_view text) {
  return Printable(FromUtf8(text));
}

/// The program and the commands that the arguments have got to, one below the other.
std::vector<const CLI::App*> Reached(const CLI::App& app) {
  std::vector<const CLI::App*> reached{&app};
  for (std::vector<CLI::App*> below = app.get_subcommands(); !below.empty();
       below = below.back()->get_subcommands()) {
    reached.push_back(below.back());
  }
  return reached;
}

const CLI::Option* FindOption(const CLI::App& app, std::string_view name) {
  for (const CLI::App* level : Reached(app)) {
    for (const CLI::Option* option : level->get_options()) {
      if (option->get_name() == name) return option;
    }
  }
  return nullptr;
}

/// What the parser could do nothing with; `none` where it tells of nothing.
std::string UnknownText(const CLI::App& app, const char* none) {
  std::vector<std::string> unknown = app.remaining(true);
  if (unknown.empty()) return none;
  std::string all;
  for (std::string& word : unknown) {
    if (word.ends_with(kNoList)) word.pop_back();
    if (word.size() > 1 && word.starts_with('-')) {
      return Fill(Tr("there is no option %1"), {Safe(word.substr(0, word.find('=')))});
    }
    (all += all.empty() ? "" : " ") += Safe(word);
  }
  const bool needs_command = Reached(app).back()->get_require_subcommand_min() > 0;
  if (needs_command) return Fill(Tr("there is no command %1"), {Safe(unknown.front())});
  return Fill(Tr("nothing more is expected: %1"), {all});
}

/// One of the parser's English sentences: what it begins with, what stands between what it is
/// about and the rest, and what it ends with.
struct Sentence {
  CLI::ExitCodes Kind;
  std::string_view Begins, Between, Ends;
  const char* Ours;  ///< %1 is what it is about, %2 the rest
};
constexpr Sentence kSentences[] = {
    {CLI::ExitCodes::RequiredError, "", "", " is required", TrLater("%1 is missing")},
    {CLI::ExitCodes::ArgumentMismatch, "", ": 1 required ", " missing",
     TrLater("%1 needs a value")},
    {CLI::ExitCodes::ArgumentMismatch, "", ": At Most 1 required but received ", "",
     TrLater("%1 can be given once, not %2 times")},
    {CLI::ExitCodes::ExcludesError, "", " excludes ", "", TrLater("%1 does not go with %2")},
    {CLI::ExitCodes::ConversionError, "Could not convert: ", " = ", "",
     TrLater("%1 takes a number, not %2")},
    {CLI::ExitCodes::ValidationError, "", ": ", "", TrLater("%1: %2")},
};

std::string RefusalText(const CLI::App& app, const CLI::ParseError& error) {
  const auto kind = static_cast<CLI::ExitCodes>(error.get_exit_code());
  const std::string_view said = error.what();
  if (kind == CLI::ExitCodes::ExtrasError) return UnknownText(app, error.what());
  if (kind == CLI::ExitCodes::RequiredError && said == "A subcommand is required") {
    return UnknownText(app, Tr("a command is missing"));
  }
  for (const Sentence& sentence : kSentences) {
    if (sentence.Kind != kind || !said.starts_with(sentence.Begins) ||
        !said.ends_with(sentence.Ends)) {
      continue;
    }
    std::string_view about = said.substr(sentence.Begins.size());
    about.remove_suffix(sentence.Ends.size());
    const std::size_t between =
        sentence.Between.empty() ? about.size() : about.find(sentence.Between);
    if (between == about.npos) continue;
    const std::string_view rest =
        about.substr(std::min(between + sentence.Between.size(), about.size()));
    about = about.substr(0, between);
    const CLI::Option* option = FindOption(app, about);
    const bool flag = option && option->get_items_expected_max() == 0;
    if (kind == CLI::ExitCodes::ConversionError && flag) {
      return Fill(Tr("%1 takes no value"), {Safe(about)});
    }
    std::string text = Fill(Tr(sentence.Ours), {Safe(about), Safe(rest)});
    // The name of an argument that is missing tells little.
    if (kind == CLI::ExitCodes::RequiredError && option) {
      text = Fill(Tr("%1: %2"), {text, option->get_description()});
    }
    return text;
  }
  return Safe(said);
}

}  // namespace

CLI::Validator Within(std::int32_t least, std::int32_t most) {
  return CLI::Validator(
      [least, most](std::string& value) {
        const std::optional<std::int32_t> number = ParseInt(FromUtf8(value));
        if (!number || *number < least || *number > most) {
          return Fill(Tr("%1 to %2, not %3"),
                      {std::to_string(least), std::to_string(most), Safe(value)});
        }
        // The parser itself takes 010 for 8.
        value = std::to_string(*number);
        return std::string();
      },
      std::to_string(least) + "-" + std::to_string(most));
}

CLI::Validator OneOf(const std::vector<std::string>& words) {
  std::string all;
  for (const std::string& word : words) all += (all.empty() ? "" : "|") + word;
  return CLI::Validator(
      [words, all](std::string& value) {
        const bool known = std::find(words.begin(), words.end(), value) != words.end();
        return known ? std::string() : Fill(Tr("%1, not %2"), {all, Safe(value)});
      },
      all);
}

void FinishParser(CLI::App& app) {
  TakeAsTheyStand(app);
  RefuseEmptyValues(app);
  NameParts(app, std::make_shared<HelpFormatter>());
}

std::vector<std::string> ForParser(const std::vector<std::string>& arguments) {
  std::vector<std::string> words(
      arguments.begin() + std::min<std::ptrdiff_t>(1, std::ssize(arguments)), arguments.end());
  for (std::string& word : words) {
    if (word.ends_with(']')) word += kNoList;
  }
  std::reverse(words.begin(), words.end());
  return words;
}

void TellRefused(const CLI::App& app, const CLI::ParseError& error,
                 const std::vector<std::string>& arguments) {
  PrintError(RefusalText(app, error));
  const std::string meant = Meant(app, arguments);
  if (!meant.empty()) return PrintError(Fill(Tr("did you mean %1?"), {meant}));
  std::string command;
  for (const CLI::App* level : Reached(app)) {
    (command += command.empty() ? "" : " ") += level->get_name();
  }
  PrintError(Fill(Tr("%1 --help tells more"), {command}));
}

}  // namespace kavrel
