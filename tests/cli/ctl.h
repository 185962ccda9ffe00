// The real kavrelctl over a temporary program folder, and what it says as JSON.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/command.h"
#include "support/temp_folder.h"
#include "support/variable.h"

namespace kavrel {

using nlohmann::json;
namespace fs = std::filesystem;
using Words = std::vector<std::string>;

inline bool Holds(const std::string& text, const std::string& part) {
  return text.find(part) != text.npos;
}

class CtlTest : public testing::Test {
 protected:
  explicit CtlTest(const std::string& source = "source") : source_(temp_.Root() / source) {}

  const TempFolder temp_;
  const fs::path source_, dest_ = temp_.Root() / "dest";
  const EnvironmentVariable data_{"XDG_DATA_HOME",
                                  (temp_.Root() / "data").string()};  ///< holds the bin
  std::string program_ = KAVRELCTL;

  Words Command(Words words) const {
    words.insert(words.begin(), {program_, "--home", temp_.Home().string()});
    return words;
  }
  CommandResult Ctl(Words words, const std::string& input = {}) const {
    return RunCommand(Command(std::move(words)), input);
  }
  /// Its exit code alone.
  int Code(Words words) const { return Ctl(std::move(words)).ExitCode; }
  /// What it prints with --json, whatever it ends with.
  json Json(Words words) const {
    words.push_back("--json");
    const CommandResult result = Ctl(words);
    json value = json::parse(result.Output, nullptr, false);
    EXPECT_FALSE(value.is_discarded()) << result.Output << result.Errors;
    return value;
  }
  /// A job from source_ to dest_, switched on.
  void Add(const std::string& name, Words more = {}) const {
    fs::create_directories(source_);
    Words words{"add",
                "--name",
                name,
                "--source",
                source_.string(),
                "--dest",
                dest_.string(),
                "--no-source-folder",
                "--every",
                "1d",
                "--enable"};
    words.insert(words.end(), more.begin(), more.end());
    const CommandResult result = Ctl(words);
    ASSERT_EQ(result.ExitCode, 0) << result.Errors;
  }
};

}  // namespace kavrel
