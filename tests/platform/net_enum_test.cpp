#include "platform/net_enum.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include "base/text.h"
#include "platform/clock.h"
#include "platform/mounts.h"
#include "support/temp_folder.h"
#include "support/variable.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class NetworkTest : public testing::Test {
 protected:
  void MakeProgram(const std::string& name, const std::string& lines) {
    const auto path = Temp.Root() / "bin" / name;
    WriteTestFile(path, "#!/bin/sh\n" + lines + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::all);
  }
  /// All that the search finds, as "name|share|failure" lines.
  std::string FindAll() {
    const std::unique_ptr<NetEnum> search = BrowseNetwork(Temp.Files());
    SystemClock clock;
    std::string found;
    for (int tries = 0; tries < 2000; ++tries) {
      NetEntry entry;
      switch (search->Next(entry)) {
        case NetEnum::Step::Found:
          found +=
              ToUtf8(entry.Name) + (entry.Share ? "|share|" : "||") + ToUtf8(entry.Failure) + "\n";
          break;
        case NetEnum::Step::Waiting:
          clock.Sleep(5);
          break;
        case NetEnum::Step::Done:
          return found;
      }
    }
    return found + "never done";
  }

  TempFolder Temp;
  EnvironmentVariable Path{"PATH", (Temp.Root() / "bin").string() + ":" + getenv("PATH")};
};

TEST_F(NetworkTest, AsksEachComputerOnceForWhatItOffersToEverybody) {
  std::filesystem::create_directories(Temp.Home() / "drives/unc/old/資料");
  const std::string here = Temp.Root().string();
  MakeProgram("avahi-browse",
              "echo '+;eth0;IPv4;NAS;_smb._tcp;local'\n"
              "echo '=;eth0;IPv4;NAS;_smb._tcp;local;nas.local;10.0.0.5;445;'\n"
              "echo '=;eth0;IPv6;NAS;_smb._tcp;local;nas.local;fe80::1;445;'\n"
              "echo '=;eth0;IPv4;bad;_smb._tcp;local;-oops.local;10.0.0.7;445;'\n"
              "printf '=;eth0;IPv4;PC;_smb._tcp;local;pc;10.0.0.6;445;'");
  MakeProgram("smbclient",
              "echo \"$@\" >> '" + here + "/asked'\n" +
                  "case \"$*\" in\n"
                  "*list=nas*) echo 'Disk|備份 區|comment'; echo 'Disk|C$|'; echo 'IPC|IPC$|';;\n"
                  "*) echo 'session setup failed: NT_STATUS_ACCESS_DENIED'; exit 1;;\n"
                  "esac");
  EXPECT_EQ(FindAll(),
            "\\\\old\\資料|share|\n\\\\nas||\n\\\\nas\\備份 區|share|\n\\\\pc||\n"
            "\\\\pc||session setup failed: NT_STATUS_ACCESS_DENIED\n");
  EXPECT_EQ(ReadTestFile(Temp.Root() / "asked"),
            "--no-pass --grepable --timeout=10 --list=nas --ip-address=10.0.0.5\n"
            "--no-pass --grepable --timeout=10 --list=pc --ip-address=10.0.0.6\n");
}

TEST_F(NetworkTest, ASearchThatHangsNeitherWaitsNorOutlivesItsObject) {
  MakeProgram("avahi-browse",
              "echo started > '" + (Temp.Root() / "started").string() + "'\nexec sleep 1000");
  SystemClock clock;
  const std::unique_ptr<NetEnum> search = BrowseNetwork(Temp.Files());
  for (int tries = 0; tries < 1000 && !std::filesystem::exists(Temp.Root() / "started"); ++tries) {
    clock.Sleep(5);
  }
  NetEntry entry;
  EXPECT_EQ(search->Next(entry), NetEnum::Step::Waiting);
}

TEST(Mounts, TellsTheDiskThatShouldBeThere) {
  MountTable mounts;
  mounts.Load();
  EXPECT_EQ(mounts.MissingPoint(u"/media/nobody-here/USB/a/b"), u"/media/nobody-here/USB");
  EXPECT_EQ(mounts.MissingPoint(u"/run/media/nobody-here/USB"), u"/run/media/nobody-here/USB");
  EXPECT_EQ(mounts.MissingPoint(u"/mnt/no-such-disk/x"), u"/mnt/no-such-disk");
  for (const char16_t* present : {u"/home/u/x", u"/mnt", u"/mnt/", u"/mntx/y/z", u"/"}) {
    EXPECT_EQ(mounts.MissingPoint(present), u"") << ToUtf8(present);
  }
}

TEST(Mounts, WhatIsMountedOverAFolderHidesWhatWasMountedInIt) {
  TempFolder temp;
  const fs::path above = fs::canonical(temp.Root()) / "above", inner = above / "inner";
  fs::create_directories(inner);
  const auto tmpfs = [](const fs::path& point) {
    return mount("none", point.c_str(), "tmpfs", 0, "size=64k") == 0;
  };
  if (!tmpfs(inner)) GTEST_SKIP() << "no right to mount";
  const auto point_of = [](const fs::path& path) {
    MountTable mounts;
    mounts.Load();
    return fs::path(ToUtf8(mounts.PointOf(TempFolder::Text(path))));
  };
  EXPECT_EQ(point_of(inner / "x"), inner);
  EXPECT_TRUE(tmpfs(above));
  fs::create_directories(inner);
  EXPECT_EQ(point_of(inner / "x"), above);
  EXPECT_TRUE(tmpfs(inner));
  EXPECT_EQ(point_of(inner / "x"), inner);
  umount2(inner.c_str(), MNT_DETACH);
  umount2(above.c_str(), MNT_DETACH);
  EXPECT_EQ(point_of(inner / "x"), inner);
  umount2(inner.c_str(), MNT_DETACH);
}

}  // namespace
}  // namespace kavrel
