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
      static const std::regex kLogs("[/\\\\][^\n]*\\.txt");
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

TEST_F(LanguageTest, WrongWordsAreAnsweredInIt) {
  struct {
    Words Given;
    std::string Answer;
  } const kCases[] = {
      {{}, "缺少命令\nkavrelctl: kavrelctl --help 有更多說明"},
      {{"rules"}, "缺少命令\nkavrelctl: kavrelctl rules --help 有更多說明"},
      {{"frobnicate"}, "沒有命令 frobnicate"},
      {{"rules", "lst"}, "沒有命令 lst\nkavrelctl: 您是指 list 嗎？"},
      {{"run", "A", "--frce=1"}, "沒有選項 --frce\nkavrelctl: 您是指 --force 嗎？"},
      {{"list", "more", "[even\x1b]"}, "多餘的參數：more [even\\x1B]"},
      {{"add"}, "缺少 --name：排程名稱"},
      {{"restore"}, "缺少 job：排程名稱"},
      {{"log", "--last"}, "--last 需要一個值"},
      {{"log", "--show", "abc"}, "--show 需要數字，不是 abc"},
      {{"log", "--last", "-5"}, "--last：0 到 2147483647，不是 -5"},
      {{"next", "--times", "0"}, "--times：1 到 1000，不是 0"},
      {{"run", "A", "--progress", "foo"}, "--progress：auto|none|json，不是 foo"},
      {{"list", "--json", "--names"}, "--json 不能與 --names 一起使用"},
      {{"list", "--json=foo"}, "--json 不需要值"},
      {{"edit", "A", "--name", "a", "--name", "b"}, "--name 只能指定一次，不是 2 次"},
      {{"status", "--max-age", ""}, "--max-age：不能是空白"},
  };
  // The library's own words.
  static const std::regex kEnglish(
      "is required|was not|were not|required|excludes|Could not|At Most|not in|Run with");
  for (const auto& one : kCases) {
    const CommandResult chinese = In("", one.Given);
    EXPECT_EQ(chinese.ExitCode, 2) << one.Answer;
    EXPECT_TRUE(chinese.Errors.starts_with("kavrelctl: " + one.Answer + "\n")) << chinese.Errors;
    const std::string english = In("en", one.Given).Errors;
    EXPECT_FALSE(std::regex_search(english, kEnglish)) << english;
    for (const Language& language : Languages().subspan(2)) {
      const CommandResult result = In(language.Code, one.Given);
      EXPECT_EQ(result.ExitCode, 2) << one.Answer;
      EXPECT_FALSE(std::regex_search(result.Errors, kEnglish)) << result.Errors;
      EXPECT_NE(result.Errors, english);
    }
  }
  const std::string number = In("zh_TW", {"next", "--help"}).Output;
  EXPECT_TRUE(Holds(number, "  --times 數字:1-1000         每個排程幾次，省略時為 3")) << number;
  const std::string text = In("zh_TW", {"rules", "add", "--help"}).Output;
  EXPECT_TRUE(Holds(text, "  --drive 文字                磁碟機、伺服器或掛載點的樣式"))
      << text << "28 columns wide";
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

TEST_F(LanguageTest, NamesThatTheProgramHasGivenAreShownInItAndUnderstoodBothWays) {
  WriteTestFile(source_ / "a.txt", "a");
  Add("家目錄");
  Add("家目錄 - 複本");
  EXPECT_EQ(Code({"edit", "家目錄 - 複本", "--dest", (temp_.Root() / "other").string()}), 0);
  const auto english = [&](Words words) { return In("en", std::move(words)); };
  EXPECT_EQ(english({"list", "--names"}).Output, "Home folder\nHome folder - copy\n");
  EXPECT_TRUE(Holds(english({"run", "home FOLDER"}).Output, "Home folder: Backup finished"));
  EXPECT_EQ(english({"run", "家目錄 - 複本"}).ExitCode, 0);
  const std::string log = english({"log", "--job", "Home folder"}).Output;
  EXPECT_TRUE(Holds(log, "1  Home folder  ") || Holds(log, "2  Home folder  ")) << log;
  EXPECT_FALSE(Holds(log, "copy")) << log;
  EXPECT_EQ(english({"show", "Home folder", "--json"}).Output,
            Ctl({"show", "家目錄", "--json"}).Output);
  // A name that somebody has chosen comes first, and is nobody else's.
  Add("Home folder");
  EXPECT_EQ(english({"remove", "Home folder"}).ExitCode, 0);
  EXPECT_EQ(Ctl({"list", "--names"}).Output, "家目錄\n家目錄 - 複本\n");
  EXPECT_EQ(Code({"run", "Home folder"}), 3) << "not the language of this command";

  EXPECT_TRUE(
      english({"rules", "list", "--names"}).Output.starts_with("Recycle bin\nRecycle bin "));
  EXPECT_EQ(english({"rules", "disable", "recycle bin"}).ExitCode, 0);
  const std::string rules = ReadTestFile(temp_.Home() / "Exc.txt");
  EXPECT_EQ(Code({"rules", "enable", "資源回收筒"}), 0);
  EXPECT_NE(ReadTestFile(temp_.Home() / "Exc.txt"), rules);
  EXPECT_EQ(Code({"rules", "disable", "資源回收筒"}), 0);
  EXPECT_EQ(ReadTestFile(temp_.Home() / "Exc.txt"), rules) << "the same file in every language";

  EXPECT_TRUE(Holds(english({"filters", "list"}).Output, "Web pages "));
  EXPECT_EQ(english({"edit", "Home folder", "--types", "@web pages"}).ExitCode, 0);
  EXPECT_TRUE(Holds(Json({"show", "家目錄"})["file_types"], "*.html"));
  EXPECT_TRUE(Holds(english({"filters", "add", "Videos", "*.x"}).Errors, "already: Videos"));
  EXPECT_EQ(english({"filters", "remove", "Videos"}).ExitCode, 0);
  EXPECT_FALSE(Holds(Ctl({"filters", "list", "--names"}).Output, "影片檔案"));
}

}  // namespace
}  // namespace kavrel
