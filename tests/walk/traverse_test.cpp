#include "walk/traverse.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/text.h"
#include "support/test_program.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

/// Notes all it is told, and has enough at the entry `Last`.
class Told final : public TreeVisitor {
 public:
  std::vector<std::string> Lines;
  std::string Last;

 private:
  bool GoesOn() override { return Lines.empty() || Lines.back() != Last; }
  bool Enter(const TraversedFolder& in) override {
    Note("enter", in.Path, {});
    return in.Name != u"turned_away";
  }
  void TakeFile(const TraversedFolder& in, const FolderEntry& file, std::uint32_t times) override {
    Note("file " + std::to_string(times), in.Path, file.Name);
  }
  bool TakeSubfolder(const TraversedFolder&, const FolderEntry& folder, bool taken) override {
    return taken && folder.Name != u"unwanted";
  }
  void Listed(const TraversedFolder& in, ErrorCode) override { Note("listed", in.Path, {}); }
  void Leave(const TraversedFolder& in) override { Note("leave", in.Path, in.Name); }
  void LeaveOut(std::u16string_view path, std::u16string_view, PlanReason reason) override {
    Note(reason == PlanReason::Rule ? "rule" : "own", path, {});
  }
  void Fail(std::u16string_view path, std::u16string_view, ErrorCode) override {
    Note("fail", path, {});
  }
  void Note(const std::string& what, std::u16string_view path, std::u16string_view name) {
    Lines.push_back(what + " " + ToUtf8(path) + ToUtf8(name));
  }
};

class TraverseTest : public testing::Test, protected TestProgram {
 protected:
  Told Walk(std::size_t slice, const std::string& last = "never") {
    Told told;
    told.Last = last;
    const std::u16string dest = u"C:\\src\\dst\\";
    Traverse walk(Program.Files, u"C:\\src", dest,
                  Scope(Program.Files, job_, Program.Exclusions, dest), told);
    while (!walk.Advance(slice)) {
    }
    return told;
  }
  BackupJob& job_ = AddJob();
};

TEST_F(TraverseTest, TellsEachEntryOnceWithWhatIsLeftOutAndWhatFails) {
  for (const char* name : {"a.txt", "sub/b.txt", "sub/Temp/c.txt", "dst/d.txt", "closed/e.txt",
                           "turned_away/f.txt", "unwanted/g.txt"}) {
    WriteTestFile(Source() / name, "x");
  }
  job_.FileTypes = u"*.txt;a*";
  SetRules(true);
  ASSERT_TRUE(
      Program.Exclusions.SaveExclusions({{true, u"folder", u"*", u"Temp\\", u"*", u"", u"", u""}}));
  // What a rule leaves out is not even opened.
  for (const char* name : {"closed", "sub/Temp"}) {
    fs::permissions(Source() / name, fs::perms::none);
  }
  fs::permissions(Temp.Root(), fs::perms::all);
  const Unprivileged user;
  Told told = Walk(1000);
  EXPECT_EQ(Walk(1).Lines, told.Lines);
  const auto at = [&](const char* line) {
    return std::find(told.Lines.begin(), told.Lines.end(), line) - told.Lines.begin();
  };
  EXPECT_EQ(told.Lines.front(), "enter C:\\src\\");
  EXPECT_EQ(told.Lines.back(), "leave C:\\src\\");
  EXPECT_LT(at("file 2 C:\\src\\a.txt"), at("listed C:\\src\\"));
  EXPECT_LT(at("listed C:\\src\\"), at("enter C:\\src\\sub\\"));
  EXPECT_LT(at("rule C:\\src\\sub\\Temp\\"), at("leave C:\\src\\sub\\sub"));
  std::sort(told.Lines.begin(), told.Lines.end());
  EXPECT_EQ(told.Lines,
            (std::vector<std::string>{
                "enter C:\\src\\", "enter C:\\src\\sub\\", "enter C:\\src\\turned_away\\",
                "fail C:\\src\\closed\\", "file 1 C:\\src\\sub\\b.txt", "file 2 C:\\src\\a.txt",
                "leave C:\\src\\", "leave C:\\src\\sub\\sub", "listed C:\\src\\",
                "listed C:\\src\\sub\\", "own C:\\src\\dst\\", "rule C:\\src\\sub\\Temp\\"}));
  EXPECT_EQ(Walk(7, "listed C:\\src\\").Lines.back(), "listed C:\\src\\") << "has enough";
}

}  // namespace
}  // namespace kavrel
