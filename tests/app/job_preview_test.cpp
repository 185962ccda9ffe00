#include "app/job_preview.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "support/test_program.h"
#include "support/variable.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class JobPreviewTest : public testing::Test {
 protected:
  JobPreviewTest() {
    fs::create_directories(Program.Source());
    Form.Source = u"C:\\src";
    Form.Destination = u"D:\\dst";
    Form.Interval = IntervalKind::Days;
    Form.Count = 1;
    Form.Start = *FromCivil(2009, 9, 24, 1);  // a Thursday
    Form.AddSourceFolder = false;
    Form.Enabled = true;
  }
  JobPreview Preview() { return PreviewJob(Program.Program, Form); }
  std::string Warnings() {
    std::string text;
    for (const std::u16string& warning : Preview().Warnings) text += ToUtf8(warning);
    return text;
  }
  bool Warns(const std::string& part) { return Warnings().find(part) != std::string::npos; }

  TestProgram Program;
  JobForm Form;
};

TEST_F(JobPreviewTest, TheNextRunWritesToItsOwnDate) {
  Form.Destination = u"D:\\dst \\ <dd>";
  Form.AddSourceFolder = true;
  Form.RefusedDays = 1 << 6 | 1 << 7;
  const JobPreview preview = Preview();
  EXPECT_EQ(preview.Destination, u"D:\\dst\\24\\src");
  EXPECT_EQ(preview.Due,
            (std::vector<DateTime>{*FromCivil(2009, 9, 24, 1), *FromCivil(2009, 9, 27, 1),
                                   *FromCivil(2009, 9, 28, 1)}));
  Form.Enabled = false;  // then it runs when the user says so
  Form.Type = BackupType::Compressed;
  EXPECT_EQ(Preview().Destination, u"D:\\dst\\23\\src\\2009年09月23日15時.7z");
  Form.RefusedDays = 0xFE;
  EXPECT_TRUE(Preview().Due.empty());
  Form.Count = 0;
  EXPECT_TRUE(Preview().Due.empty());
  Form.Destination = u" ";
  EXPECT_EQ(Preview().Destination, u"");
}

TEST_F(JobPreviewTest, WarnsOfASourceThatIsNotThereUnlessTheNetworkWouldHaveToTell) {
  EXPECT_FALSE(Warns("找不到來源資料夾"));
  Form.Source = u"C:\\src\\none";
  EXPECT_TRUE(Warns("找不到來源資料夾「C:\\src\\none\\」"));
  for (const char16_t* source : {u"", u"\\\\server\\share\\none"}) {
    Form.Source = source;
    EXPECT_FALSE(Warns("找不到來源資料夾"));
  }
}

TEST_F(JobPreviewTest, WarnsOfAnotherJobThatWritesToTheSamePlace) {
  const std::string warning = "排程「測試 0」也備份到這個資料夾";
  BackupJob& other = Program.AddJob();
  EXPECT_TRUE(Warns(warning));
  const std::size_t all = Preview().Warnings.size();
  EXPECT_EQ(PreviewJob(Program.Program, Form, &other).Warnings.size(), all - 1)
      << "of itself it need not";
  other.AddSourceFolder = true;
  EXPECT_FALSE(Warns(warning));
  Form.AddSourceFolder = true;
  EXPECT_TRUE(Warns(warning)) << "both sources bear one name";
  other.Destination.Path = Form.Destination = u"D:\\<dd>\\";
  EXPECT_TRUE(Warns(warning));
  // By another path it is the same folder all the same.
  other.AddSourceFolder = Form.AddSourceFolder = false;
  other.Destination.Path = u"D:\\link\\";
  Form.Destination = u"D:\\dst\\";
  fs::create_directories(Program.Dest());
  fs::create_directory_symlink(Program.Dest(), Program.Temp.DriveD() / "link");
  EXPECT_TRUE(Warns(warning));
}

TEST_F(JobPreviewTest, WarnsOfADestinationThatIsTheSourceOrLiesInIt) {
  Form.Destination = u"c:\\SRC\\";
  EXPECT_TRUE(Warns("就是來源資料夾"));
  Form.Destination = u"C:\\";  // the source's name is appended
  Form.AddSourceFolder = true;
  EXPECT_TRUE(Warns("就是來源資料夾"));
  Form.AddSourceFolder = false;
  Form.Destination = u"C:\\src\\not\\there";
  EXPECT_TRUE(Warns("之內"));
  Form.Destination = u"C:\\src2";
  EXPECT_FALSE(Warns("來源資料夾"));
  // By another way: a link, or the host's own path.
  fs::create_directory_symlink(Program.Source(), Program.Temp.DriveD() / "link");
  Form.Destination = u"D:\\link\\sub";
  EXPECT_TRUE(Warns("之內"));
  Form.Destination = TempFolder::Text(Program.Source());
  EXPECT_TRUE(Warns("就是來源資料夾"));
  Form.Destination = u"C:\\";
  EXPECT_TRUE(Warns("來源資料夾位於目標資料夾之內"));
}

TEST_F(JobPreviewTest, WarnsOfOneDiskAndOfDisksThatAreNotThere) {
  EXPECT_TRUE(Warns("同一個磁碟"));
  if (fs::is_directory("/dev/shm")) {
    Form.Destination = u"/dev/shm/kavrel";
    EXPECT_EQ(Warnings(), "");
  }
  Form.Destination = u"E:\\x";
  EXPECT_EQ(Warnings(), "目標磁碟「E:」目前無法使用。");
  Form.Destination = u"\\\\nowhere\\share\\x";
  EXPECT_TRUE(Warns("\\\\nowhere"));
  Form.Destination = u"/media/nobody-here/USB/x";
  EXPECT_EQ(Warnings(), "目標磁碟「/media/nobody-here/USB」目前沒有掛載。");
  Form.Destination = u"ftp://host/x";
  EXPECT_TRUE(Warns("FTP"));
  Form.Destination = u"somewhere";
  EXPECT_TRUE(Warns("不是完整的路徑"));
}

TEST_F(JobPreviewTest, WarnsOfWhatACompressedJobLacks) {
  Form.Type = BackupType::Compressed;
  const EnvironmentVariable nothing("PATH", "/nonexistent");
  EXPECT_TRUE(Warns("找不到 7-Zip"));
  Form.UsePassword = true;
  EXPECT_TRUE(Warns("40718"));
  Form.Password = u"x";
  EXPECT_FALSE(Warns("40718"));
}

}  // namespace
}  // namespace kavrel
