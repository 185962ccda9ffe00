// What the three shells offer behind what somebody has typed so far.
#include <stdlib.h>

#include "cli/ctl.h"

namespace kavrel {
namespace {

/// Sets the variables that bash gives a completion, and prints what it offers.
constexpr char kBash[] =
    "file=$1; shift; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); source \"$file\"; _kavrelctl; "
    "printf '%s\\n' \"${COMPREPLY[@]}\"";
/// The same for zsh, whose own functions are replaced by ones that print.
constexpr char kZsh[] =
    "compadd() { [[ $1 == -- ]] && shift; print -rl -- \"$@\" }; _files() { }; "
    "_describe() { local one; for one in ${(P)@[-1]}; do print -rl -- ${one%%:*} ${one#*:}; done "
    "}; "
    "file=$1; shift; words=(\"$@\"); "
    "CURRENT=$#words; PREFIX=$words[-1]; source $file";
/// Fish tells by itself; what explains a word follows it behind a tab.
constexpr char kFish[] =
    "source $argv[1]; complete -C (string escape -- $argv[2..-2] | string join ' ')' '$argv[-1]";

class CompletionTest : public CtlTest, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    if (RunCommand({"/usr/bin/env", Shell(), "-c", "exit 0"}).ExitCode != 0) {
      GTEST_SKIP() << Shell() << " is not installed";
    }
    Add("Mother's photos");
    const std::string dated = (dest_ / "<yyyy>-<mm>-<dd>").string();
    ASSERT_EQ(Code({"edit", "Mother's photos", "--dest", dated}), 0);
    ASSERT_EQ(Code({"run", "--all"}), 0);
  }
  std::string Shell() const { return GetParam(); }
  /// Whether the shell offers the word behind these; the last of them is what is being typed.
  bool Offers(const std::string& wanted, Words typed) const {
    const std::string shell = Shell();
    const char* script = shell == "bash" ? kBash : shell == "zsh" ? kZsh : kFish;
    Words words{"/usr/bin/env",
                "PATH=" + fs::path(KAVRELCTL).parent_path().string() + ":/usr/bin:/bin",
                "HOME=" + temp_.Root().string(), shell};
    if (shell == "bash") words.push_back("--norc");
    if (shell == "zsh") words.push_back("-f");
    if (shell == "fish") words.push_back("--no-config");
    words.insert(words.end(), {"-c", script});
    if (shell != "fish") words.push_back(shell);
    words.push_back(KAVREL_COMPLETIONS "/kavrelctl." + shell);
    words.insert(words.end(), {"kavrelctl", "--home", temp_.Home().string()});
    words.insert(words.end(), typed.begin(), typed.end());
    const CommandResult result = RunCommand(words);
    EXPECT_EQ(result.Errors, "") << shell;
    std::string lines = '\n' + result.Output;
    for (char& c : lines) {
      if (c == '\t') c = '\n';
    }
    return Holds(lines, '\n' + wanted + '\n');
  }
};

TEST_P(CompletionTest, OffersCommandsOptionsAndWhatTheProgramFolderHolds) {
  EXPECT_TRUE(Offers("status", {"st"}));
  EXPECT_TRUE(Offers("--guard-min", {"add", "--g"}));
  EXPECT_TRUE(Offers("disable", {"rules", ""}));
  EXPECT_TRUE(Offers("sync", {"add", "--type", ""}));
  EXPECT_TRUE(Offers("--no-recycle", {"add", "--no-r"})) << "the other of a pair";
  EXPECT_TRUE(Offers("zh_CN", {"--lang", ""}));
  // What they do is told in the user's language, as far as the shell tells it.
  if (Shell() != "bash") {
    EXPECT_TRUE(Offers("備份是否順利，以及從何時開始", {"st"})) << "the user's language";
    EXPECT_TRUE(Offers("少於這個數量的檔案不計（預設 20）", {"add", "--guard-m"}));
  }
  EXPECT_TRUE(Offers("@文書檔案", {"add", "--types", "@"}));
  EXPECT_TRUE(Offers("文書檔案", {"filters", "remove", ""}));
  ASSERT_EQ(Code({"rules", "add", "--name", "Mine", "--file", "*.tmp"}), 0);
  for (const char* word : {"remove", "enable", "disable"}) {
    EXPECT_TRUE(Offers("Mine", {"rules", word, ""})) << word;
  }
  // Bash wants its quotes in what it is given back.
  const std::string name = "Mother's photos";
  const std::string offered = Shell() == "bash" ? "Mother\\'s\\ photos" : name;
  EXPECT_TRUE(Offers(offered, {"run", ""}));
  EXPECT_TRUE(Offers(offered, {"log", "--job", ""}));

  const std::string date = Ctl({"states", name, "--names"}).Output;
  ASSERT_EQ(date.size(), 20U) << date;
  std::string typed = date.substr(0, 19), quoted = name;
  if (Shell() == "bash") {
    quoted = "Mother\\'s\\ photos";
    typed.replace(10, 1, "\\ ");
  } else if (Shell() == "zsh") {
    quoted = "Mother\\'s\\ photos";
  }
  EXPECT_TRUE(Offers(typed, {"restore", quoted, "--state", ""}));
  EXPECT_TRUE(Offers("latest", {"restore", quoted, "--state", ""}));
  EXPECT_TRUE(Offers(typed, {"diff", quoted, ""}));
  EXPECT_FALSE(Offers(typed, {"diff", ""}));
}

INSTANTIATE_TEST_SUITE_P(Shells, CompletionTest, testing::Values("bash", "zsh", "fish"),
                         [](const auto& shell) { return std::string(shell.param); });

}  // namespace
}  // namespace kavrel
