#include "platform/process.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/text.h"
#include "platform/child_process.h"
#include "support/temp_folder.h"

namespace kavrel {
namespace {

/// A child process that runs `work` and then waits to be killed; returns once `work` is done.
template <typename Work>
pid_t StartChild(Work work) {
  int ready[2];
  if (pipe(ready) != 0) return -1;
  const pid_t child = fork();
  if (child == 0) {
    const bool done = work();
    if (write(ready[1], done ? "y" : "n", 1) != 1) _exit(1);
    for (;;) pause();
  }
  char answer = 'n';
  close(ready[1]);
  const bool told = read(ready[0], &answer, 1) == 1;
  close(ready[0]);
  EXPECT_TRUE(told && answer == 'y');
  return child;
}

/// Ends a child by a signal and gives what ended it.
int Kill(pid_t child, int signal_number) {
  kill(child, signal_number);
  int status = 0;
  waitpid(child, &status, 0);
  return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

TEST(ProcessLock, OneProcessAtATimeAndADeadOneHoldsNothing) {
  const TempFolder temp;
  const std::u16string home = TempFolder::Text(temp.Home());
  ProcessLock mine;
  EXPECT_EQ(ProcessLock::Holder(home), u"");
  ProcessLock theirs;
  const pid_t child = StartChild([&] { return theirs.TryAcquire(home, u"備份"); });
  const std::u16string holder = u"備份 (process " + FromUtf8(std::to_string(child)) + u")";
  EXPECT_EQ(ProcessLock::Holder(home), holder);
  EXPECT_FALSE(mine.TryAcquire(home, u"second"));
  EXPECT_FALSE(mine.Held());
  EXPECT_EQ(ProcessLock::Holder(home), holder) << "the note is the holder's";

  EXPECT_EQ(Kill(child, SIGKILL), SIGKILL);
  EXPECT_EQ(ProcessLock::Holder(home), u"") << "the dead process's note is still there";
  ASSERT_TRUE(mine.TryAcquire(home, u"w"));
  const std::u16string me = u"w (process " + FromUtf8(std::to_string(getpid())) + u")";
  EXPECT_EQ(ProcessLock::Holder(home), me);
  EXPECT_FALSE(ProcessLock().TryAcquire(home, u"twice")) << "not even twice in one process";
  mine.Release();
  EXPECT_EQ(ProcessLock::Holder(home), u"");
  EXPECT_TRUE(ProcessLock().TryAcquire(home, u"again"));
}

TEST(ProcessLock, ALinkInItsPlaceIsNeverWrittenThrough) {
  const TempFolder temp;
  WriteTestFile(temp.Root() / "mine", "mine");
  std::filesystem::create_symlink(temp.Root() / "mine", temp.Home() / "Kavrel.lock");
  ProcessLock lock;
  EXPECT_FALSE(lock.TryAcquire(TempFolder::Text(temp.Home()), u"x"));
  EXPECT_FALSE(lock.TryAcquire(TempFolder::Text(temp.Root() / "missing"), u"x"));
  EXPECT_EQ(ReadTestFile(temp.Root() / "mine"), "mine");
}

TEST(Interrupt, TheFirstIsNotedTheSecondEndsTheProcess) {
  const struct {
    int First, Second, EndsBy;
  } cases[] = {{SIGINT, SIGINT, SIGINT}, {SIGTERM, SIGINT, SIGINT}, {SIGHUP, SIGTERM, SIGTERM}};
  for (const auto& c : cases) {
    const pid_t child = StartChild([&] {
      for (const int number : {SIGINT, SIGTERM, SIGHUP}) signal(number, SIG_DFL);
      WatchForInterrupt();
      const bool before = InterruptRequested();
      raise(c.First);
      raise(SIGHUP);  // a closing terminal repeats itself; nobody insists
      return !before && InterruptRequested();
    });
    EXPECT_EQ(Kill(child, c.Second), c.EndsBy);
  }
  const pid_t child = StartChild([] {
    signal(SIGHUP, SIG_IGN);  // started by nohup
    WatchForInterrupt();
    raise(SIGHUP);
    return !InterruptRequested();
  });
  Kill(child, SIGKILL);
}

TEST(OpenFileLimit, RisesToWhatTheSystemAllows) {
  const pid_t child = StartChild([] {
    const rlimit low{64, 512};
    rlimit now{};
    if (setrlimit(RLIMIT_NOFILE, &low) != 0) return false;
    RaiseOpenFileLimit();
    return getrlimit(RLIMIT_NOFILE, &now) == 0 && now.rlim_cur == 512;
  });
  Kill(child, SIGKILL);
}

TEST(ChildProcess, OneThatWaitsForAPipeForEverIsKnownFromOneThatWorks) {
  const TempFolder temp;
  const std::string pipe = (temp.Root() / "pipe").string();
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  ChildProcess waits, works;
  ASSERT_EQ(waits.Start("/bin/cat", {pipe}, "/", ""), 0);
  ASSERT_EQ(works.Start("/bin/cat", {"/dev/zero"}, "/", ""), 0);
  std::string output;
  EXPECT_TRUE(waits.Worked());
  works.Worked();
  int looks = 0;
  while (waits.Worked() && looks < 1000) {
    works.Read(output, 10);
    ++looks;
  }
  EXPECT_LT(looks, 1000);
  EXPECT_FALSE(waits.Worked());
  for (int i = 0; i < 100; ++i) works.Read(output, 10);
  EXPECT_TRUE(works.Worked());
}

}  // namespace
}  // namespace kavrel
