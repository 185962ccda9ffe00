// A program that runs for months: thousands of runs of every kind in one process, with cancels and
// failures, hold no more memory, files, threads or processes at their end than near their
// beginning.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "base/text.h"
#include "faults/world.h"
#include "support/test_program.h"
#include "support/variable.h"

namespace fs = std::filesystem;

namespace kavrel::faults {
namespace {

/// What the process holds at a moment.
struct Holdings {
  std::size_t Files = 0, Threads = 0;
  long Heap = 0, Resident = 0;  ///< bytes

  static Holdings Now() {
    Holdings now;
    for ([[maybe_unused]] const auto& file : fs::directory_iterator("/proc/self/fd")) ++now.Files;
    for ([[maybe_unused]] const auto& task : fs::directory_iterator("/proc/self/task")) {
      ++now.Threads;
    }
    now.Heap = static_cast<long>(mallinfo2().uordblks + mallinfo2().hblkhd);
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    now.Resident = pages * sysconf(_SC_PAGESIZE);
    return now;
  }
};

class Soak : public testing::Test {
 protected:
  TestProgram program_;
  const EnvironmentVariable data_{"XDG_DATA_HOME", program_.Temp.Root() / "data"};
  std::size_t ran_ = 0, cancelled_ = 0, failed_ = 0;

  Soak() {
    program_.Program.Preferences.SetLogRestrictions(0);
    program_.Program.Preferences.SetPlaySound(false);
    for (const BackupType type :
         {BackupType::Full, BackupType::Differential, BackupType::Synchronise,
          BackupType::Synchronise, BackupType::Compressed}) {
      BackupJob& job = program_.AddJob(type);
      job.Destination.Path = u"D:\\dst" + FromUtf8(std::to_string(job.JobIndex)) + u"\\";
    }
    program_.Program.Store.Jobs[3].UseRecycleBin = true;
    BackupJob& lost = program_.AddJob(BackupType::Full);
    lost.Source.Path = u"C:\\nowhere\\";
  }

  /// One run, as different from the one before as a number can make it.
  void Run(unsigned number) {
    const fs::path source = program_.Source();
    program_.Clock.Advance(61'000);
    for (unsigned i = 0; i < 6; ++i) {
      WriteTestFile(source / ("d" + std::to_string(i % 2)) / std::to_string((number + i) % 9),
                    std::string(number * 37 % 5000, static_cast<char>('a' + number % 26)));
    }
    fs::remove(source / "d0" / std::to_string(number % 9));
    // Now and then a folder is in the place of a file, and the run is cancelled in its midst.
    const auto job = static_cast<std::int32_t>(number % 50 == 49 ? 4
                                               : number % 7 == 6 ? 5
                                                                 : number % 4);
    const fs::path in_the_way =
        program_.Temp.DriveD() / ("dst" + std::to_string(job)) / "d1" / std::to_string(number % 9);
    const bool restores = number % 11 == 10, blocked = !restores && number % 5 == 0;
    if (blocked) {
      fs::remove_all(in_the_way);
      fs::create_directories(in_the_way);
    }
    unsigned pumps = 0;
    program_.Host.AtPump = [&] {
      if (number % 3 == 0 && ++pumps == number % 41) program_.Program.State.CancelRequested = true;
    };
    if (restores) {
      program_.Program.RunRestoreNow(
          number % 2 ? 4 : job, RestoreMode::Full, [](const auto& archives) {
            return archives.empty() ? std::nullopt : std::optional(archives.back().Name);
          });
    } else {
      program_.Program.RunJobNow(job);
    }
    program_.Host.AtPump = {};
    program_.Host.Calls.clear();
    program_.Host.Names.clear();
    program_.Host.Panels.clear();
    program_.Host.Rows.clear();
    if (blocked) fs::remove_all(in_the_way);
    if (number % 100 == 0) fs::remove_all(program_.Temp.Root() / "data");
    const BackupJob& done = program_.Program.Store.Jobs[static_cast<std::size_t>(job)];
    ++ran_;
    cancelled_ += done.LastRunResult.Stopped;
    failed_ += done.LastRunResult.FailedFiles > 0;
  }
};

TEST_F(Soak, ThousandsOfRunsHoldNoMoreThanAFew) {
  const unsigned runs = SweepStep(0) == 1 ? 10'000 : 300;
  const unsigned warm = runs / 2;
  Holdings before;
  for (unsigned number = 1; number <= runs; ++number) {
    Run(number);
    // The log list is between its limits in both cases.
    if (number == warm) before = Holdings::Now();
  }
  const Holdings after = Holdings::Now();
  EXPECT_EQ(after.Files, before.Files);
  EXPECT_EQ(after.Threads, before.Threads);
  EXPECT_LE(after.Heap, before.Heap + 100'000);
#ifndef __SANITIZE_ADDRESS__
  EXPECT_LE(after.Resident, before.Resident + 2'000'000);
#endif
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child process is left";
  EXPECT_GT(cancelled_, runs / 20);
  EXPECT_GT(failed_, runs / 20);
  std::printf("heap %ld to %ld, resident %ld to %ld bytes, %zu files, %zu threads\n", before.Heap,
              after.Heap, before.Resident, after.Resident, after.Files, after.Threads);
  Count("runs in one process", ran_);
}

}  // namespace
}  // namespace kavrel::faults
