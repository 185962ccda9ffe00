// Readers and matchers against hostile text, from a seeded generator: the same inputs every time.
#include <gtest/gtest.h>

#include <random>

#include "base/wildcard.h"
#include "faults/world.h"
#include "fuzz/targets.h"

namespace kavrel::faults {
namespace {

class Fuzz : public testing::Test {
 protected:
  Fuzz() {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(FUZZ_SEEDS)) {
      if (entry.is_regular_file()) seeds_[entry.path()] = ReadTestFile(entry.path());
    }
    for (const auto& [path, seed] : seeds_) pool_.push_back(&seed);
  }

  std::size_t Below(std::size_t limit) { return random_() % limit; }

  /// A seed, or a splice of two, with some bytes changed, doubled, cut out or repeated at length.
  std::string Next() {
    const auto seed = [&]() -> const std::string& { return *pool_[Below(pool_.size())]; };
    std::string text = seed();
    if (Below(2)) text.insert(Below(text.size() + 1), seed());
    for (std::size_t changes = Below(12); changes > 0 && !text.empty(); --changes) {
      const std::size_t at = Below(text.size());
      switch (Below(5)) {
        case 0:
          text[at] = static_cast<char>(random_());
          break;
        case 1:
          text.erase(at, Below(20));
          break;
        case 2:
          text.insert(at, Below(300), text[at]);
          break;
        case 3:
          text.insert(at, text.substr(at, Below(40)));
          break;
        default:
          text.insert(at, 1, "\t\r\n\"\\*?[]!-;=<>\0"[Below(16)]);
      }
    }
    return text;
  }

  std::mt19937 random_{20091};
  std::map<std::string, std::string> seeds_;  ///< in the order of their names
  std::vector<const std::string*> pool_;
};

TEST_F(Fuzz, ReadersTakeAnythingAndKeepTheirPromises) {
  std::size_t tried = 0;
  for (const fuzz::Target& target : fuzz::Targets()) {
    const bool full = SweepStep(10) == 1;
    const std::size_t rounds = target.UsesFiles ? (full ? 2000 : 50) : (full ? 100'000 : 10'000);
    for (std::size_t round = 0; round < rounds; ++round, ++tried) {
      const std::string input = Next();
      const char* broken = target.Try(input);
      ASSERT_EQ(broken, nullptr) << target.Name << ": " << broken << "\n"
                                 << testing::PrintToString(input);
    }
  }
  Count("hostile inputs tried", tried);
}

TEST_F(Fuzz, NoPatternTakesExponentialTime) {
  const std::u16string text(10'000, u'a');
  std::u16string stars;
  for (int i = 0; i < 50; ++i) stars += u"*a";
  EXPECT_FALSE(MatchesPattern(text, stars + u"b"));
  EXPECT_TRUE(MatchesPattern(text, stars + u"*"));
  EXPECT_FALSE(MatchesFileMask(text, stars + u"b"));
  EXPECT_FALSE(MatchesPattern(text, std::u16string(50, u'*') + u"b"));
  // Nor the time of its square: each bracket is malformed, which only its end tells.
  const std::u16string brackets = u"*" + std::u16string(3000, u'[') + u"b-a";
  EXPECT_FALSE(MatchesPattern(std::u16string(10'000, u'[') + u"]", brackets + u"c]"));
}

}  // namespace
}  // namespace kavrel::faults
