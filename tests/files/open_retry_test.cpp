#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include "files/file_copy.h"
#include "support/recording_host.h"
#include "support/set_clock.h"
#include "support/temp_folder.h"

namespace kavrel {
namespace {

TEST(OpenRetry, ASourceThatSomebodyHoldsIsTriedAgainAfterASecond) {
  TempFolder temp;
  RunState state;
  SetClock clock{2009, 9, 23, 15, 4, 5};
  RecordingHost host;
  CopyContext context{state, clock, &host, nullptr};
  const auto path = temp.DriveC() / "a.bin";
  WriteTestFile(path, "held");
  const int held = open(path.c_str(), O_RDWR | O_CLOEXEC);
  signal(SIGIO, SIG_IGN);  // asks the holder to let go
  if (fcntl(held, F_SETLEASE, F_WRLCK) != 0) GTEST_SKIP() << "no leases here";
  const std::uint64_t before = clock.TickCount();
  host.AtPump = [&] {
    if (clock.TickCount() > before) fcntl(held, F_SETLEASE, F_UNLCK);
  };
  const CopyResult result =
      CopyFileShown(context, temp.Files(), GetFileInfo(temp.Files(), state, u"C:\\a.bin"),
                    GetFileInfo(temp.Files(), state, u"D:\\a.bin"));
  EXPECT_FALSE(result.Failed);
  EXPECT_EQ(clock.TickCount() - before, 1000U);
  close(held);
}

}  // namespace
}  // namespace kavrel
