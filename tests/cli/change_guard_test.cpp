// What the command line says where files look encrypted.
#include <random>

#include "ctl.h"

namespace kavrel {
namespace {

class ChangeGuardCtlTest : public CtlTest {
 protected:
  void Encrypt() const {
    std::mt19937 random(1);
    for (const auto& entry : fs::recursive_directory_iterator(source_)) {
      std::string noise(3000, ' ');
      for (char& c : noise) c = static_cast<char>(random());
      WriteTestFile(entry.path(), noise);
    }
  }
  void MakeTexts() const {
    std::string text;
    for (int i = 0; i < 300; ++i) text += "a line of words, number " + std::to_string(i) + "\n";
    for (int i = 0; i < 40; ++i) {
      WriteTestFile(source_ / (std::to_string(i) + ".txt"), text);
      SetWritten(source_ / (std::to_string(i) + ".txt"), {1000000000, 0});
    }
  }
  json Status() const { return Json({"status"})["jobs"][0]; }
};

TEST_F(ChangeGuardCtlTest, ARunWithoutAnAnswerEndsAsGuardedUntilItIsForced) {
  MakeTexts();
  Add("a", {"--type", "differential"});
  ASSERT_EQ(Code({"run", "a"}), 0);
  Encrypt();
  const CommandResult stopped = Ctl({"--lang", "en", "run", "a"});
  EXPECT_EQ(stopped.ExitCode, 6);
  EXPECT_TRUE(Holds(stopped.Errors,
                    "files look encrypted that would take the place of good copies: "
                    "4 files have turned to what looks encrypted: "))
      << stopped.Errors;
  EXPECT_EQ(Status()["cause"], "changes");
  const json run = Json({"run", "a"})["runs"][0];
  EXPECT_EQ(run["result"], "guarded");
  EXPECT_EQ(Code({"run", "a", "--force"}), 0);
  EXPECT_EQ(Code({"run", "a"}), 0);
  EXPECT_EQ(Status()["status"], "ok");

  EXPECT_EQ(Code({"edit", "a", "--change-guard", "maybe"}), 2);
  EXPECT_TRUE(Json({"list"})[0]["change_guard"]);
  EXPECT_EQ(Code({"edit", "a", "--change-guard", "off"}), 0);
  EXPECT_FALSE(Json({"list"})[0]["change_guard"]);
  MakeTexts();
  ASSERT_EQ(Code({"run", "a"}), 0);
  Encrypt();
  EXPECT_EQ(Code({"run", "a"}), 0);
}

TEST_F(ChangeGuardCtlTest, AnAlarmOfDatedFoldersStandsUntilItIsAccepted) {
  MakeTexts();
  Add("a", {"--type", "full"});
  ASSERT_EQ(
      Code({"edit", "a", "--dest", (dest_ / "<yyyy>").string(), "--keep", "1", "--delete-old"}), 0);
  ASSERT_EQ(Code({"run", "a"}), 0);
  const auto states = [&] { return Json({"states", "a"}).size(); };
  const auto run_anew = [&] {
    fs::rename(fs::directory_iterator(dest_)->path(), dest_ / "2001");
    return Code({"run", "a"});
  };
  Encrypt();
  EXPECT_EQ(run_anew(), 1);
  EXPECT_EQ(states(), 2U);
  EXPECT_EQ(Status()["cause"], "changes");
  const json bad = Json({"log", "--failed"});
  ASSERT_EQ(bad.size(), 1U);
  EXPECT_EQ(bad[0]["result"], "some-failed");
  EXPECT_TRUE(Holds(bad[0]["reason"], "files have turned to what looks encrypted")) << bad;
  EXPECT_TRUE(Json({"list"})[0]["changes_since"].is_string());
  EXPECT_TRUE(Json({"keep", "a", "--explain"})["held_back"]);
  EXPECT_EQ(Code({"edit", "a", "--change-guard", "accept"}), 0);
  EXPECT_TRUE(Json({"list"})[0]["changes_since"].is_null());
  EXPECT_EQ(Status()["status"], "ok");
}

}  // namespace
}  // namespace kavrel
