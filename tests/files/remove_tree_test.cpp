#include "files/remove_tree.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>

#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

TEST(RemoveTree, AWideAndADeepOneGoWithFewOpenFilesAndNothingElseDoes) {
  const TempFolder temp;
  fs::path deep = temp.Root() / "tree/deep";
  for (int i = 0; i < 200; ++i) deep /= "d";
  fs::create_directories(deep);
  for (int i = 0; i < 1000; ++i) {
    const fs::path folder = temp.Root() / "tree/wide" / std::to_string(i);
    fs::create_directories(folder / "inner");
    WriteTestFile(folder / "inner/file", "x");
  }
  WriteTestFile(temp.Root() / "kept/file", "x");
  fs::create_directory_symlink(temp.Root() / "kept", temp.Root() / "tree/wide/link");
  WriteTestFile(temp.Root() / "tree/mark", "the last to go");

  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit few{500, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &few);
  const Result<Folder> parent = temp.Files().OpenFolder(TempFolder::Text(temp.Root()));
  ASSERT_EQ(parent.Error, 0);
  EXPECT_EQ(RemoveTree(*parent, u"tree", u"mark"), 0);
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_FALSE(fs::exists(temp.Root() / "tree"));
  EXPECT_TRUE(fs::exists(temp.Root() / "kept/file"));
}

}  // namespace
}  // namespace kavrel
