// How much of a run's time goes into showing it: window_bench SOURCE DEST [HOW], on whatever
// display Qt finds. Runs one job in the real main window and prints the share of the window's own
// calls; in the window without measuring them (HOW is shown); or without a window (headless).
#include <time.h>

#include <QApplication>
#include <chrono>
#include <filesystem>
#include <iostream>

#include "base/text.h"
#include "platform/folders.h"
#include "ui/frm_main.h"

namespace kavrel {
namespace {

using std::chrono::steady_clock;

std::int64_t ThreadNanoseconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return time.tv_sec * std::int64_t{1000000000} + time.tv_nsec;
}

/// Notes how long the calls of a run take.
class TimedMain final : public FrmMain {
 public:
  /// Processor time of all calls in nanoseconds; the copying threads do not count.
  std::int64_t Spent = 0;
  steady_clock::duration Longest{};

  void PumpMessages() override {
    Measure([&] { FrmMain::PumpMessages(); });
  }
  int ApiFileCopyCallback(std::uint64_t total_size, std::uint64_t bytes_done, std::uint32_t stream,
                          std::uint64_t stream_size, std::uint64_t stream_done,
                          std::uint32_t block_size) override {
    int result = 0;
    Measure([&] {
      result = FrmMain::ApiFileCopyCallback(total_size, bytes_done, stream, stream_size,
                                            stream_done, block_size);
    });
    return result;
  }
  void DrawCaptions(std::u16string_view source_folder, std::u16string_view dest_folder,
                    std::u16string_view file_name) override {
    Measure([&] { FrmMain::DrawCaptions(source_folder, dest_folder, file_name); });
  }

 private:
  template <class Call>
  void Measure(Call call) {
    if (measuring_) return call();
    measuring_ = true;
    const steady_clock::time_point begin = steady_clock::now();
    const std::int64_t work_begin = ThreadNanoseconds();
    call();
    Spent += ThreadNanoseconds() - work_begin;
    Longest = std::max(Longest, steady_clock::now() - begin);
    measuring_ = false;
  }

  bool measuring_ = false;
};

double Milliseconds(steady_clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

class Headless final : public ProgramHost {
  void PumpMessages() override {}
  int ApiFileCopyCallback(std::uint64_t, std::uint64_t, std::uint32_t, std::uint64_t, std::uint64_t,
                          std::uint32_t) override {
    return 0;
  }
  void DrawCaptions(std::u16string_view, std::u16string_view, std::u16string_view) override {}
};

class Bench {
 public:
  Bench(const std::string& source, const std::string& dest, ProgramHost& host)
      : home_(std::filesystem::path(dest) / "home"),
        program_(MakeHome(), FromUtf8((home_ / "Settings.ini").string()), clock_, host) {
    BackupJob job;
    NewJobDefaults(job, clock_.Now(), u"");
    job.Name = u"bench";
    job.Source.Path = FromUtf8(source);
    job.Destination.Path = FromUtf8(dest + "/copy/");
    job.AddSourceFolder = false;
    job.NextRun = clock_.Now() + std::chrono::hours(1);
    SetJobType(job, BackupType::Full);
    program_.Store.Jobs.push_back(job);
    program_.Store.SaveJobs();
  }

  void RunHeadless() {
    program_.Load();
    RunAndTell();
    std::cout << "\n";
  }

  void RunShown(FrmMain& window) {
    Show(window);
    RunAndTell();
    std::cout << "\n";
  }

  void RunTimed(TimedMain& window) {
    Show(window);
    window.Spent = 0;
    const double took = RunAndTell();
    const double shown = static_cast<double>(window.Spent) / 1e6;
    std::cout << "; shown in " << shown << " ms, " << 100 * shown / took << " %; longest call "
              << Milliseconds(window.Longest) << " ms\n";
  }

 private:
  std::u16string MakeHome() const {
    std::filesystem::create_directories(home_);
    return FromUtf8(home_.string());
  }

  void Show(FrmMain& window) {
    window.Start(program_, {});
    QApplication::processEvents();
    window.JobStarting(0, clock_.Now());
  }

  double RunAndTell() {
    const steady_clock::time_point begin = steady_clock::now();
    program_.RunJobNow(0);
    const double took = Milliseconds(steady_clock::now() - begin);
    const std::uint32_t files = program_.Context.Report.Counters.SourceFiles;
    std::cout << files << " files in " << took << " ms, " << files / took * 1000 << " files/s";
    return took;
  }

  const std::filesystem::path home_;
  SystemClock clock_;
  Program program_;
};

}  // namespace
}  // namespace kavrel

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  if (argc < 3) {
    std::cerr << "Usage: window_bench SOURCE DEST [shown|headless]\n";
    return 2;
  }
  const std::string how = argc > 3 ? argv[3] : "";
  if (how == "headless") {
    kavrel::Headless host;
    kavrel::Bench(argv[1], argv[2], host).RunHeadless();
  } else if (how == "shown") {
    kavrel::FrmMain window;
    kavrel::Bench(argv[1], argv[2], window).RunShown(window);
  } else {
    kavrel::TimedMain window;
    kavrel::Bench(argv[1], argv[2], window).RunTimed(window);
  }
  return 0;
}
