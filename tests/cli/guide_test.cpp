// Runs the examples of the guides as they stand there.
#include <cstdlib>

#include "cli/ctl.h"

namespace kavrel {
namespace {

std::string Replaced(std::string text, const std::string& what, const std::string& with) {
  for (std::size_t at = 0; (at = text.find(what, at)) != text.npos; at += with.size()) {
    text.replace(at, what.size(), with);
  }
  return text;
}

/// The shell's blocks of a text that need nothing but kavrelctl, the shell and jq.
std::vector<std::string> Examples(const fs::path& file) {
  std::vector<std::string> blocks;
  std::istringstream text(ReadTestFile(file));
  bool inside = false;
  for (std::string line; std::getline(text, line);) {
    if (line == "```sh") {
      inside = true;
      blocks.emplace_back();
    } else if (line == "```") {
      inside = false;
    } else if (inside) {
      blocks.back() += line + "\n";
    }
  }
  std::erase_if(blocks, [](const std::string& block) {
    return !block.starts_with("kavrelctl ") && !block.starts_with("TZ=UTC kavrelctl ") &&
           !block.starts_with("#!/bin/sh");
  });
  return blocks;
}

class GuideTest : public CtlTest {
 protected:
  /// Each example finds the folders that the guides speak of, jobs that have run, and nothing of
  /// what the example before it did.
  void Run(const std::string& example, const std::string& where) {
    const fs::path root = temp_.Root() / ("example" + std::to_string(++count_)),
                   home = root / "home";
    for (const char* folder :
         {"media/disk", "media/windows", "mnt/nas-backup", "node", "program"}) {
      fs::create_directories(root / folder);
    }
    WriteTestFile(home / "Pictures/a.jpg", "a");
    WriteTestFile(home / "Documents/letters/2025/b.txt", "b");
    WriteTestFile(home / "Documents/notes.txt", "n");
    std::string script = "set -e\nexport PATH=" + fs::path(KAVRELCTL).parent_path().string() +
                         ":$PATH HOME=" + home.string() +
                         " XDG_DATA_HOME=" + (root / "data").string() +
                         " XDG_CONFIG_HOME=" + (root / "config").string() + "\nunset KAVREL_HOME\n";
    for (const char* job : {"Documents", "Photos", "文件"}) {
      if (Holds(example, std::string("add --name ") + job)) continue;
      const std::string source = job == std::string("Photos") ? "Pictures" : "Documents";
      script += std::string("kavrelctl add --name ") + job + " --source ~/" + source +
                " --dest ~/backups/" + job + "/ --no-source-folder --enable --every 1d\n" +
                "kavrelctl run -q " + job + "\n";
    }
    std::string commands = Replaced(example, "/media/me", (root / "media").string());
    commands = Replaced(commands, "/mnt", (root / "mnt").string());
    commands = Replaced(commands, "/var/lib/node_exporter", (root / "node").string());
    for (const char* folder : {"--home FOLDER", "--home 資料夾"}) {
      commands = Replaced(commands, folder, "--home " + (root / "program").string());
    }
    WriteTestFile(root / "script", script + commands);
    const CommandResult result = RunCommand({"/bin/sh", (root / "script").string()});
    EXPECT_EQ(result.ExitCode, 0) << where << ":\n" << commands << result.Output << result.Errors;
  }

  int count_ = 0;
};

TEST_F(GuideTest, EveryExampleRunsAsItStandsThere) {
  const fs::path docs(KAVREL_DOCS);
  const bool has_jq = RunCommand({"/bin/sh", "-c", "command -v jq"}).ExitCode == 0;
  int run = 0;
  for (const fs::path& file : {docs / "guide.md", docs / "guide.zh-TW.md", docs / "monitoring.md",
                               docs / "json.md", docs.parent_path() / "README.md"}) {
    for (const std::string& example : Examples(file)) {
      if (!has_jq && Holds(example, "jq ")) continue;
      Run(example, file.filename().string());
      ++run;
    }
  }
  EXPECT_GE(run, 10) << "the examples are no longer found";
}

}  // namespace
}  // namespace kavrel
