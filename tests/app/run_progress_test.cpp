#include "app/run_progress.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "support/test_program.h"

namespace kavrel {
namespace {

/// Lets the progress count until the total is known.
RunFigures CountAll(RunProgress& progress) {
  RunFigures figures;
  while (!figures.TotalKnown) {
    progress.CountOn();
    figures = progress.Figures();
  }
  return figures;
}

std::string Text(const RunFigures& figures) {
  return ToUtf8(ProgressText(figures));
}

TEST(RunProgress, APickedRestoreHasOnlyWhatWasPickedBeforeIt) {
  TestProgram test;
  for (const char* name : {"a", "docs/b", "docs/old/c", "docsX/d"}) {
    WriteTestFile(test.Dest() / name, "12345");
  }
  BackupJob& job = test.AddJob();
  job.Source.Path = u"D:\\";  // around the backup
  PathSet only;
  only.Add(u"docs/old");
  only.Add(u"a");
  RunProgress progress(test.Program.Context);
  progress.Begin(job, u"D:\\dst\\", true, &only);
  EXPECT_EQ(CountAll(progress).FilesTotal, 2U);
  EXPECT_EQ(progress.Figures().BytesTotal, 10U);
}

TEST(RunProgress, PromisesNothingBeforeTheTotalIsKnown) {
  TestProgram test;
  BackupJob& job = test.AddJob();
  for (int i = 0; i < 4; ++i) {
    WriteTestFile(test.Source() / std::to_string(i), std::string(1U << 20U, 'x'));
  }
  RunProgress progress(test.Program.Context);
  progress.Begin(job, u"D:\\dst\\", false);
  RunCounters& counters = test.Program.Context.Report.Counters;
  RunFigures figures = progress.Figures();
  EXPECT_EQ(figures.Percent, -1);
  EXPECT_EQ(Text(figures), "整體進度：0 個檔案，0 位元");

  figures = CountAll(progress);
  EXPECT_EQ(figures.FilesTotal, 4U);
  EXPECT_EQ(figures.BytesTotal, 4U << 20U);
  EXPECT_EQ(figures.Percent, 0);
  EXPECT_EQ(figures.SecondsLeft, -1) << "no speed is known yet";

  // One file in two seconds, and a half of the second in one more.
  test.Clock.Advance(2000);
  counters.SourceFiles = 1;
  counters.SourceBytes = counters.CopiedBytes = 1U << 20U;
  EXPECT_EQ(Text(progress.Figures()),
            "整體進度：1 / 4 個檔案，1,024.00 KB / 4.00 MB，512.00 KB/秒，剩餘約 6 秒");
  progress.Note(1U << 20U, 1U << 19U);
  figures = progress.Figures();
  EXPECT_EQ(figures.BytesDone, 3U << 19U);
  progress.Note(1U << 20U, 1U << 20U);
  EXPECT_EQ(progress.Figures().BytesDone, 1U << 20U) << "the counters have it";

  // What was fast long ago says nothing of the time that is left.
  for (int i = 0; i < 40; ++i) {
    test.Clock.Advance(500);
    figures = progress.Figures();
  }
  EXPECT_EQ(figures.BytesPerSecond, 0);
  EXPECT_EQ(figures.SecondsLeft, -1);
}

TEST(RunProgress, FollowsTheArchiverThroughACompressedRun) {
  TestProgram test;
  BackupJob& job = test.AddJob(BackupType::Compressed);
  RunProgress progress(test.Program.Context);
  progress.Begin(job, u"D:\\dst\\", false);
  test.Program.Context.Report.Counters.SourceFiles = 3;
  EXPECT_EQ(Text(progress.Figures()), "整體進度：準備中，3 個檔案");
  test.Program.Context.Report.Counters.CopiedFiles = 7;
  test.Program.Context.Report.Counters.CopiedBytes = 10 << 20;
  progress.Note(100, 25);
  test.Clock.Advance(3000);
  progress.Note(100, 40);
  const RunFigures figures = progress.Figures();
  EXPECT_EQ(figures.Percent, 40);
  EXPECT_EQ(Text(figures), "整體進度：40 %，7 個檔案，4.00 MB / 10.00 MB，1.33 MB/秒，剩餘約 4 秒");
}

}  // namespace
}  // namespace kavrel
