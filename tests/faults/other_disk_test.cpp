// Disks that mix up names or keep less than others, imitated by a loaded object.
#include <gtest/gtest.h>
#include <unistd.h>

#include "base/text.h"
#include "faults/world.h"
#include "support/variable.h"

namespace fs = std::filesystem;

namespace kavrel::faults {
namespace {

/// Disks that take "A" and "a" for one entry.
class OtherDiskTest : public testing::TestWithParam<std::pair<const char*, const char*>> {};

std::string Folded(const std::string& path) {
  return ToUtf8(ToLower(FromUtf8(path)));
}

TEST_P(OtherDiskTest, NamesThatItMixesUpOrRefusesAreToldAndNoneIsLost) {
  const auto [how, type] = GetParam();
  const bool fat = std::string(how) == "fat", odd = std::string(how) == "odd",
             mirror = std::string(type) == "sync", full = std::string(type) == "full";
  RealJob job;
  std::vector<std::string> names{"plain", "Name",  "name",      "NAME",      "sub/odd", "Dir/x",
                                 "dir/x", "dir/y", "sub/A.txt", "sub/a.TXT", "sub/Dir"};
  // One of the two folders, and of the files of one name all but one.
  long expected = 4;
  if (fat) {
    for (const char* refused :
         {"a:b", "a?b", "a*b", "a\"b", "a<b", "a>b", "a|b", "dot.", "no?/x"}) {
      names.emplace_back(refused);
      ++expected;
    }
  }
  // Three names of which the disk takes but two for one, whichever is listed first.
  for (int i = 0; !fat && i < 8; ++i) {
    const std::string letter(1, static_cast<char>('a' + i));
    for (const std::string& name : {"t" + letter, "T" + letter, "t" + letter + "."}) {
      names.push_back(name);
    }
    ++expected;
  }
  std::map<std::string, std::string> content;
  for (const std::string& name : names) {
    // Each of a size of its own.
    content[name] = name + std::string(content.size(), '.');
    WriteTestFile(job.Source / name, content[name]);
    SetWritten(job.Source / name, {1'710'000'001, 999'000'000});
  }
  WriteTestFile(job.Source / "one", std::string(5000, '1'));
  for (const char* name : {"two", "sub/three"}) {
    fs::create_hard_link(job.Source / "one", job.Source / name);
  }
  job.Make(type);
  const Tree source = ReadTree(job.Source);
  const EnvironmentVariable preload("LD_PRELOAD", FAULT_INJECTOR);
  const EnvironmentVariable disk("KAVREL_DISK", how + (":" + job.Dest.string()));
  const EnvironmentVariable asan("ASAN_OPTIONS", "verify_asan_link_order=0");
  std::vector<std::string> missing;
  const auto look = [&] {
    std::map<std::string, std::string> there;
    for (const auto& [path, entry] : ReadTree(job.Dest)) {
      EXPECT_TRUE(there.emplace(Folded(path), entry.Bytes).second) << path;
    }
    EXPECT_EQ(there.contains("gone"), !mirror);
    missing.clear();
    for (const std::string& name : names) {
      if (fs::exists(job.Source / name) && there[Folded(name)] != content[name]) {
        missing.push_back(name);
      }
    }
  };
  // In the second run everything is there already.
  for (const int run : {1, 2}) {
    fs::remove_all(job.Home / "Log");
    // Of the size and time of another file.
    WriteTestFile(job.Dest / "gone", std::string(content["Name"].size(), 'g'));
    SetWritten(job.Dest / "gone", {1'710'000'001, 999'000'000});
    const CommandResult result = job.Run();
    EXPECT_EQ(result.ExitCode, 1) << result.Output << result.Errors;
    EXPECT_EQ(Figure(result.Output, kFailed), expected) << result.Output << job.Log();
    EXPECT_TRUE(run == 1 || full || Figure(result.Output, kCopied) == 0) << result.Output;
    look();
    const std::string log = job.Log();
    // Told once, where there are no links, or where no number tells them.
    const std::size_t told = log.find("目標無法建立硬連結");
    EXPECT_EQ(told != log.npos, fat || odd) << log;
    EXPECT_EQ(told, log.rfind("目標無法建立硬連結")) << log;
    const Tree copies = ReadTree(job.Dest);
    EXPECT_TRUE(copies.at("one").SameContent(copies.at("sub/three")));
    EXPECT_EQ(copies.at("one").Names, fat || odd ? 1U : 3U);
    for (const std::string& name : missing) {
      const std::string folder = name.substr(0, name.find('/'));
      EXPECT_TRUE(log.find((job.Source / name).string() + "\r\n") != std::string::npos ||
                  log.find((job.Dest / folder).string() + "/\r\n") != std::string::npos)
          << name << "\n"
          << log;
    }
    EXPECT_FALSE(missing.empty());
  }
  for (const auto& [path, entry] : ReadTree(job.Source)) {
    EXPECT_TRUE(source.at(path).SameContent(entry)) << path;
  }
  if (fat && !full) {
    // Owners and permissions that it does not hold are not set again in each run.
    EXPECT_EQ(chown((job.Source / "plain").c_str(), 1234, 1234) == 0 || geteuid() != 0, true);
    fs::permissions(job.Source / "plain", fs::perms(0600));
    fs::permissions(job.Source / "sub", fs::perms(0700));
    const CommandResult again = job.Run();
    EXPECT_EQ(again.Output.find("更新屬性"), std::string::npos) << again.Output;
    EXPECT_EQ(again.Output.find("警告"), std::string::npos) << again.Output << job.Log();
  }
  // Once a name has its place alone, it gets it.
  for (const char* name : {"Name", "NAME", "Dir/x", "Dir", "sub/a.TXT"}) {
    fs::remove(job.Source / name);
  }
  const CommandResult result = job.Run();
  EXPECT_EQ(Figure(result.Output, kFailed), expected - 4) << result.Output << job.Log();
  look();
  EXPECT_EQ(missing.size(), static_cast<std::size_t>(expected - 4));
}

INSTANTIATE_TEST_SUITE_P(, OtherDiskTest,
                         testing::Values(std::pair("fold", "full"), std::pair("fold", "sync"),
                                         std::pair("fold", "differential"),
                                         std::pair("fat", "full"), std::pair("fat", "sync"),
                                         std::pair("fat", "differential"), std::pair("odd", "full"),
                                         std::pair("odd", "sync"), std::pair("lower", "sync"),
                                         std::pair("lower", "differential")),
                         [](const auto& test) {
                           return std::string(test.param.first) + "_" + test.param.second;
                         });

}  // namespace
}  // namespace kavrel::faults
