// The real kavrelctl with one job, 文件 A, from a source with a name of its own.
#pragma once

#include <algorithm>

#include "ctl.h"

namespace kavrel {

class KavrelctlTest : public CtlTest {
 protected:
  KavrelctlTest() : CtlTest("來源") {}

  const fs::path store_ = temp_.Home() / "Backup.rtm";
  std::string said_;  ///< by all commands

  CommandResult Ctl(Words words, const std::string& input = {}) {
    CommandResult result = CtlTest::Ctl(std::move(words), input);
    said_ += result.Output + result.Errors;
    return result;
  }
  CommandResult Add(const Words& more = {}) {
    Words words{"add", "--name", "文件 A", "--source", source_.string()};
    // What comes later takes the place of this.
    if (std::find(more.begin(), more.end(), "--dest") == more.end()) {
      words.insert(words.end(), {"--dest", dest_.string()});
    }
    words.push_back("--no-source-folder");
    words.insert(words.end(), more.begin(), more.end());
    return Ctl(words);
  }
};

}  // namespace kavrel
