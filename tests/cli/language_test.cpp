#include <gtest/gtest.h>

#include <regex>

#include "base/text.h"
#include "base/translation.h"
#include "cli/ctl.h"
#include "support/variable.h"

namespace kavrel {
namespace {

class LanguageTest : public CtlTest {
 protected:
  /// The command in that language; "" leaves it to the environment.
  CommandResult In(std::string_view code, Words words) {
    if (!code.empty()) words.insert(words.begin(), {"--lang", std::string(code)});
    return Ctl(words);
  }
  static bool HasChinese(const std::string& text) {
    for (const char16_t c : FromUtf8(text)) {
      if (c >= 0x4E00 && c <= 0x9FFF) return true;
    }
    return false;
  }
};

TEST_F(LanguageTest, EveryLineIsInOneLanguageAndJsonInNone) {
  WriteTestFile(source_ / "a.txt", "a");
  WriteTestFile(dest_ / "b/below", "in the way");
  WriteTestFile(source_ / "b", "blocked");
  Add("A");
  Add("B");
  ASSERT_EQ(Code({"edit", "B", "--type", "sync", "--every", "2h", "--refuse", "sun,sat"}), 0);
  ASSERT_EQ(Code({"run", "A"}), 1);
  ASSERT_EQ(Code({"verify", "A"}), 1);
  const std::vector<Words> asked{
      {"list"},          {"show", "A", "B"}, {"log"},          {"log", "--show", "1"},
      {"preview", "A"},  {"status"},         {"next"},         {"verify", "A"},
      {"run", "nobody"}, {"--help"},         {"run", "--help"}};
  for (const Language& language : Languages()) {
    for (const Words& words : asked) {
      const CommandResult result = In(language.Code, words);
      // The names of logs are files' names.
      static const std::regex kLogs("/[^\n]*\\.txt");
      const std::string said = std::regex_replace(result.Output + result.Errors, kLogs, "");
      const bool may = language.Code.starts_with("zh") || language.Code == "ja";
      EXPECT_TRUE(may || !HasChinese(said)) << language.Code << " " << words[0] << ": " << said;
    }
    for (const Words& words : std::vector<Words>{{"list", "--json"},
                                                 {"show", "A", "--json"},
                                                 {"log", "--json"},
                                                 {"status", "--json"},
                                                 {"preview", "A", "--json"}}) {
      EXPECT_EQ(In(language.Code, words).Output, In("zh_TW", words).Output) << language.Code;
    }
  }
}

TEST_F(LanguageTest, IsTheOneNamedElseTheOneStoredElseTheEnvironments) {
  Add("A");
  const auto heading = [&](std::string_view code = {}) {
    return In(code, {"list"}).Output.substr(0, std::string("排程名稱").size());
  };
  const std::string chinese = "排程名稱", english = "Job name  On", german = "Auftragsname";
  EXPECT_EQ(heading(), chinese);
  const EnvironmentVariable language("LANGUAGE", "xx:de:en");
  EXPECT_EQ(heading(), german);
  {
    const EnvironmentVariable plain("LC_ALL", "C");
    EXPECT_EQ(heading(), chinese) << "the C locale wants no translation";
  }
  EXPECT_EQ(Code({"settings", "set", "Language", "en"}), 0);
  EXPECT_EQ(heading(), english);
  EXPECT_EQ(heading("zh_TW"), chinese);
  EXPECT_EQ(Code({"settings", "set", "Language", "xx"}), 2);
  EXPECT_EQ(Code({"--lang", "xx", "list"}), 2);
  EXPECT_EQ(Code({"settings", "set", "Language", ""}), 0);
  EXPECT_EQ(heading(), german);
}

}  // namespace
}  // namespace kavrel
