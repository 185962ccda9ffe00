#include "core/command_line.h"

#include <gtest/gtest.h>

#include <random>

namespace kavrel {
namespace {

using Names = std::vector<std::u16string>;

TEST(CommandLine, NamesAreSplitAtBlanksOutsideQuotes) {
  EXPECT_EQ(SplitArguments(u""), Names{u""});
  EXPECT_EQ(SplitArguments(u"   "), Names{u""});
  EXPECT_EQ(SplitArguments(u"  one   two "), (Names{u"one", u"two"}));
  EXPECT_EQ(SplitArguments(u"\"Daily docs\" 相片"), (Names{u"Daily docs", u"相片"}));
  EXPECT_EQ(SplitArguments(u"\"say \"\"hi\"\"\""), Names{u"say \"hi\""});
  EXPECT_EQ(SplitArguments(u"a\" b\"c \"open end "), (Names{u"a bc", u"open end"}));
}

TEST(CommandLine, JoinedNamesComeBack) {
  std::mt19937 random(5);
  constexpr std::u16string_view kLetters = u"a\" \\\u5099%$'";
  for (int round = 0; round < 2000; ++round) {
    Names names(1 + random() % 4);
    for (std::u16string& name : names) {
      for (std::size_t length = 1 + random() % 6; length > 0; --length) {
        name += kLetters[random() % kLetters.size()];
      }
    }
    EXPECT_EQ(SplitArguments(JoinArguments(names)), names);
  }
}

}  // namespace
}  // namespace kavrel
