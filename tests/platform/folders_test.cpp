#include "platform/folders.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include "base/text.h"
#include "platform/clock.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

/// An environment variable for the length of a test; unset when `value` is null.
class Environment {
 public:
  Environment(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) old_ = old;
    Put(value);
  }
  ~Environment() { Put(old_ ? old_->c_str() : nullptr); }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  void Put(const char* value) { value ? setenv(name_, value, 1) : unsetenv(name_); }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(Folders, TheProgramAndItsSettingsLieWhereTheUserOrTheDesktopSays) {
  const TempFolder temp;
  const std::u16string root = TempFolder::Text(temp.Root());
  const std::string path = temp.Root().string();
  Environment home("HOME", path.c_str()), chosen("KAVREL_HOME", nullptr),
      data("XDG_DATA_HOME", nullptr), config("XDG_CONFIG_HOME", "relative/is/ignored");
  EXPECT_EQ(ProgramFolder(), root + u"/.local/share/Kavrel");
  EXPECT_TRUE(fs::is_directory(temp.Root() / ".local/share/Kavrel"));
  EXPECT_EQ(SettingsFile(), root + u"/.config/Quenlor/Settings.ini");
  EXPECT_EQ(HomeFolder(), root + u"/");

  data.Put((path + "/data/").c_str());
  config.Put((path + "/config").c_str());
  EXPECT_EQ(ProgramFolder(), root + u"/data/Kavrel");
  EXPECT_EQ(SettingsFile(), root + u"/config/Quenlor/Settings.ini");

  chosen.Put("~/chosen//");
  EXPECT_EQ(ProgramFolder(), root + u"/chosen");
  EXPECT_EQ(SettingsFile(), root + u"/chosen/Settings.ini");
  EXPECT_EQ(ProgramFolder(root + u"/given/"), root + u"/given");
  EXPECT_EQ(SettingsFile(root + u"/given"), root + u"/given/Settings.ini");
  EXPECT_TRUE(fs::is_directory(temp.Root() / "given"));

  WriteTestFile(temp.Root() / "file", "x");
  EXPECT_EQ(ProgramFolder(root + u"/file/below"), std::nullopt);
  EXPECT_EQ(ProgramFolder(u"C:\\Kavrel"), std::nullopt);
}

TEST(Folders, OnlyARelativePathDependsOnTheCurrentFolder) {
  const TempFolder temp;
  const std::string path = temp.Root().string();
  const Environment home("HOME", path.c_str());
  const fs::path before = fs::current_path();
  fs::current_path(temp.Home());
  const std::u16string root = TempFolder::Text(temp.Root());
  const std::pair<std::u16string, std::u16string> cases[] = {
      {u"a/../b", root + u"/home/a/../b"},
      {u"1:x", root + u"/home/1:x"},
      {u"~/x", root + u"/x"},
      {u"~", root + u"/"},
      {u"~other/x", root + u"/home/~other/x"},
      {u"/x/./y/", u"/x/./y/"},
      {u"c:\\x", u"c:\\x"},
      {u"\\\\server\\share", u"\\\\server\\share"},
      {u"FTP://host/x", u"FTP://host/x"},
      {u"", u""},
  };
  for (const auto& [given, expected] : cases) {
    EXPECT_EQ(AbsolutePath(given), expected) << ToUtf8(given);
  }
  fs::current_path("/");
  EXPECT_EQ(AbsolutePath(u"x"), u"/x");
  fs::current_path(before);
}

TEST(Clock, FileTimesAreShownByTheZonesRulesOfTheirOwnMoment) {
  Environment zone("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
  SystemClock().Now();
  EXPECT_EQ(LocalTime({1248000000, 999999999}), FromCivil(2009, 7, 19, 12, 40, 0));
  EXPECT_EQ(LocalTime({1260000000, 0}), FromCivil(2009, 12, 5, 9, 0, 0));
  EXPECT_EQ(LocalTime({-1, 5}), FromCivil(1970, 1, 1, 0, 59, 59));
  zone.Put("CST-8");
  SystemClock().Now();  // the user travels, the program goes on
  EXPECT_EQ(LocalTime({1260000000, 0}), FromCivil(2009, 12, 5, 16, 0, 0));
  for (const std::int64_t seconds : {INT64_MIN, std::int64_t{-1} << 40, std::int64_t{1} << 40,
                                     std::int64_t{67767976233532799}, INT64_MAX}) {
    EXPECT_EQ(LocalTime({seconds, 0}), kZeroDate) << seconds;
  }
}

}  // namespace
}  // namespace kavrel
