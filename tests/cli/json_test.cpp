// What scripts get: every key is documented, every documented key is there, and a script of jq
// alone can manage the jobs of a machine.
#include <algorithm>
#include <regex>
#include <set>

#include "cli/ctl.h"

namespace kavrel {
namespace {

using Keys = std::set<std::string>;

void Collect(const json& value, const std::string& path, Keys& keys) {
  if (value.is_object()) {
    const bool by_name = path.ends_with("settings") || path.ends_with("totals");
    for (const auto& [key, below] : value.items()) {
      const std::string name = by_name ? "*" : key;
      Collect(below, path.empty() ? name : path + "." + name, keys);
    }
  } else if (value.is_array() && (value.empty() || value[0].is_structured())) {
    if (value.empty()) keys.insert(path);
    for (const json& entry : value) Collect(entry, path + "[]", keys);
  } else {
    keys.insert(path);
  }
}

/// The keys in the tables of docs/json.md, by heading.
std::map<std::string, Keys> Documented() {
  std::map<std::string, Keys> all;
  std::string heading;
  std::istringstream text(ReadTestFile(fs::path(KAVREL_DOCS) / "json.md"));
  const std::regex key("`([^`]+)`");
  for (std::string line; std::getline(text, line);) {
    if (line.starts_with("## ")) heading = line.substr(3);
    if (!line.starts_with("| `")) continue;
    const std::string cell = line.substr(0, line.find('|', 2));
    for (std::sregex_iterator it(cell.begin(), cell.end(), key), end; it != end; ++it) {
      all[heading].insert((*it)[1]);
    }
  }
  return all;
}

/// Whether a text of it is Chinese; the names of logs always are.
bool SpeaksChinese(const json& value) {
  if (value.is_string()) {
    const auto& text = value.get_ref<const std::string&>();
    return std::any_of(text.begin(), text.end(), [](char c) {
      return static_cast<unsigned char>(c) >= 0xE3 && static_cast<unsigned char>(c) <= 0xE9;
    });
  }
  for (const auto& [key, below] : value.items()) {
    if (value.is_structured() && key != "log_file" && SpeaksChinese(below)) return true;
  }
  return false;
}

class JsonTest : public CtlTest {};

TEST_F(JsonTest, EveryKeyIsDocumentedAndEveryDocumentedKeyIsThere) {
  WriteTestFile(source_ / "a.txt", "a");
  WriteTestFile(source_ / "sub/b.txt", "b");
  WriteTestFile(dest_ / "sub", "in the way");
  Add("A");
  Add("M");
  ASSERT_EQ(Code({"edit", "M", "--dest", "X:\\m"}), 0);
  ASSERT_EQ(Code({"rules", "add", "--name", "R", "--folder", "none\\"}), 0);
  std::map<std::string, Keys> found;
  const auto look = [&](const std::string& heading, const Words& words) {
    const json value = Json(words);
    if (value.is_object()) {
      EXPECT_EQ(value["format"], 1) << heading;
    }
    // Rules and filters that are always there bear Chinese names.
    const bool named = heading == "rules list" || heading == "filters list";
    EXPECT_TRUE(named || !SpeaksChinese(value)) << heading << value;
    Collect(value, "", found[heading]);
  };
  look("preview", {"preview", "A"});
  look("run", {"run", "A"});
  fs::remove(dest_ / "sub");
  look("run", {"run", "A"});
  look("restore", {"restore", "A"});
  WriteTestFile(source_ / "a.txt", "changed");
  look("verify", {"verify", "A"});
  for (const char* heading : {"status", "list", "next", "log"}) look(heading, {heading});
  look("settings get", {"settings", "get"});
  look("rules list", {"rules", "list"});
  look("filters list", {"filters", "list"});
  look("drives list", {"drives", "list"});
  Add("D");
  const fs::path days = temp_.Root() / "days";
  ASSERT_EQ(Code({"edit", "D", "--dest", (days / "<yyyy>").string()}), 0);
  ASSERT_EQ(Code({"run", "D"}), 0);
  // Last year's, which has kept its mark.
  fs::rename(fs::directory_iterator(days)->path(), days / "2001");
  WriteTestFile(source_ / "a.txt", "changed once more");
  ASSERT_EQ(Code({"run", "D"}), 0);
  ASSERT_EQ(Code({"verify", "D"}), 0);
  look("states", {"states", "D"});
  look("keep", {"keep", "D"});
  look("versions", {"versions", "D", "a.txt"});
  look("diff", {"diff", "D", "2", "1"});
  Add("C", {"--type", "compressed"});
  const bool packs = Code({"run", "C"}) == 0;
  if (packs) look("archives", {"archives", "C"});
  if (packs)
    look("archives --list", {"archives", "C", "--list", Json({"archives", "C"})[0]["name"]});
  const CommandResult lines = Ctl({"run", "A", "--progress", "json"});
  std::istringstream output(lines.Output);
  std::vector<json> objects;
  for (std::string line; std::getline(output, line);) objects.push_back(json::parse(line));
  ASSERT_GE(objects.size(), 2u);
  EXPECT_EQ(objects.front()["event"], "progress");
  EXPECT_EQ(objects.back()["runs"][0]["result"], "ok");
  for (std::size_t i = 0; i + 1 < objects.size(); ++i) {
    EXPECT_EQ(objects[i]["format"], 1);
    Collect(objects[i], "", found["--progress json"]);
  }
  for (const auto& [heading, documented] : Documented()) {
    if (!packs && heading.starts_with("archives")) continue;
    const Keys& there = found[heading];
    for (const std::string& key : there) {
      // A list that is empty here has its entries documented.
      const bool known = documented.contains(key) ||
                         documented.lower_bound(key + "[]") != documented.lower_bound(key + "[^");
      EXPECT_TRUE(known) << heading << " has " << key;
    }
    for (const std::string& key : documented) {
      const bool present =
          there.contains(key) || there.lower_bound(key + "[]") != there.lower_bound(key + "[^");
      EXPECT_TRUE(present) << heading << " lacks " << key;
    }
  }
}

TEST_F(JsonTest, TimesHaveTheirDistanceFromUtcAndResultsAreWords) {
  const EnvironmentVariable zone("TZ", "IST-05:30");
  WriteTestFile(source_ / "a.txt", "abc");
  Add("A", {"--start", "2126/11/24 01:00"});
  EXPECT_EQ(Json({"show", "A"})["next_run"], "2126-11-24T01:00:00+05:30");
  const json run = Json({"run", "A"})["runs"][0];
  EXPECT_EQ(run["copied"], 1);
  EXPECT_EQ(run["bytes"], 3);
  EXPECT_EQ(Code({"run", "A", "nobody", "--json"}), 3);
  const json row = Json({"log"})[0];
  EXPECT_EQ(row["number"], 1);
  EXPECT_EQ(row["kind"], "backup");
  EXPECT_EQ(row["result"], "ok");
  EXPECT_EQ(row["bytes"], 3);
  EXPECT_TRUE(row["seconds"].is_number()) << row;
  EXPECT_EQ(Json({"show", "A", "A"})["name"], "A") << "named twice, shown once";
  Add("B");
  EXPECT_EQ(Json({"show", "A", "B"}).size(), 2u);
  EXPECT_EQ(Json({"next", "B"}).size(), 1u);
  EXPECT_EQ(Code({"remove", "A", "B"}), 0);
  EXPECT_TRUE(Json({"list"}).empty());
}

TEST_F(JsonTest, AScriptOfJqAloneManagesTheJobsOfAMachine) {
  WriteTestFile(source_ / "docs/a.txt", "a");
  WriteTestFile(source_ / "pictures/b.jpg", "b");
  const CommandResult result =
      RunCommand({"/bin/sh", (fs::path(KAVREL_TESTS) / "cli/manage.sh").string(), KAVRELCTL,
                  temp_.Home().string(), source_.string(), dest_.string()});
  if (result.ExitCode == 77) GTEST_SKIP() << "jq is not installed";
  EXPECT_EQ(result.ExitCode, 0) << result.Output << result.Errors;
  EXPECT_TRUE(result.Output.ends_with("all is well\n")) << result.Output << result.Errors;
}

}  // namespace
}  // namespace kavrel
