#include "ui/other_start.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QLocalSocket>
#include <QTimer>
#include <future>

#include "base/text.h"
#include "platform/process.h"
#include "support/variable.h"
#include "ui/main_window.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

using Names = std::vector<std::u16string>;

class StartListenerTest : public testing::Test {
 protected:
  const TempFolder temp_;
  const EnvironmentVariable runtime_{"XDG_RUNTIME_DIR", temp_.Root().string()};
  const std::u16string address_ = StartAddress(TempFolder::Text(temp_.Home()));
  Names taken_;
  std::u16string versions_;
  StartListener listener_{[this](const OtherStart& start) -> std::optional<Names> {
    if (start.Jobs == Names{u"no more"}) return std::nullopt;
    taken_ = start.Jobs;
    versions_ = start.Versions;
    return start.Jobs.size() > 1 ? Names{start.Jobs[1]} : Names();
  }};
  Names missing_;

  /// What the other process does, while this one handles its events.
  HandedOver Ask(const OtherStart& start) {
    auto asked =
        std::async(std::launch::async, [&] { return HandOver(address_, start, missing_, 20000); });
    EXPECT_TRUE(WaitUntil(
        [&] { return asked.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    return asked.get();
  }
};

TEST_F(StartListenerTest, TakesJobsAsTheyAreNamedAndTellsWhichThereAreNot) {
  EXPECT_EQ(HandOver(address_, {}, missing_, 20000), HandedOver::No) << "nobody is there";
  // What a killed process has left is in nobody's way.
  WriteTestFile(ToUtf8(address_), "");
  ASSERT_TRUE(listener_.Listen(address_));
  const auto mode = fs::status(ToUtf8(address_)).permissions();
  EXPECT_EQ(mode & (fs::perms::group_all | fs::perms::others_all), fs::perms::none);
  const Names names{u"say \"hi\"", u"-style", u"照 片", {0xDCFF, u'x'}};
  EXPECT_EQ(Ask({names, "token"}), HandedOver::Yes);
  EXPECT_EQ(taken_, names);
  EXPECT_EQ(missing_, Names{u"-style"});
  EXPECT_EQ(Ask({}), HandedOver::Yes);
  EXPECT_TRUE(taken_.empty() && missing_.empty() && versions_.empty());
  const std::u16string file{u'/', u'照', u' ', u'"', 0xDCFF};
  EXPECT_EQ(Ask({{}, {}, file}), HandedOver::Yes);
  EXPECT_EQ(versions_, file);
  EXPECT_EQ(Ask({{u"no more"}, {}}), HandedOver::No) << "it is about to end";
  listener_.Close();
  EXPECT_EQ(HandOver(address_, {}, missing_, 20000), HandedOver::No);
}

TEST_F(StartListenerTest, HostileAndSilentPeersAreInNobodysWay) {
  ASSERT_TRUE(listener_.Listen(address_));
  const QString name = QString::fromStdU16String(address_);
  std::vector<std::unique_ptr<QLocalSocket>> peers;
  for (int i = 0; i < 40; ++i) {
    QLocalSocket& peer = *peers.emplace_back(std::make_unique<QLocalSocket>());
    peer.connectToServer(name);
    if (i % 2 == 0) peer.write(QByteArray(i * 50000, static_cast<char>(i)));
    if (i % 3 == 0) peer.abort();
    WaitUntil([&] { return peer.state() != QLocalSocket::ConnectingState; });
  }
  EXPECT_TRUE(taken_.empty());
  for (auto& peer : peers) peer->abort();
  EXPECT_EQ(Ask({{u"照片"}, {}}), HandedOver::Yes);
  EXPECT_EQ(taken_, Names{u"照片"});
}

TEST_F(StartListenerTest, AProcessThatHangsGetsNothing) {
  ASSERT_TRUE(listener_.Listen(address_));
  // It accepts, as the system does for it, but nobody handles its events.
  EXPECT_EQ(HandOver(address_, {{u"照片"}, {}}, missing_, 100), HandedOver::No);
  EXPECT_EQ(Ask({}), HandedOver::Yes);
  EXPECT_TRUE(taken_.empty()) << "nor later";
}

TEST(StartAddress, IsOutOfOthersReach) {
  const TempFolder temp;
  const std::u16string home = TempFolder::Text(temp.Home());
  const fs::path place = temp.Root() / "run";
  fs::create_directory(place);
  fs::permissions(temp.Home(), fs::perms::owner_all);
  fs::permissions(place, fs::perms::owner_all);
  const EnvironmentVariable runtime("XDG_RUNTIME_DIR", place.string());
  EXPECT_TRUE(StartAddress(home).starts_with(TempFolder::Text(place)));
  fs::create_directory_symlink(temp.Home(), temp.Root() / "link");
  EXPECT_EQ(StartAddress(TempFolder::Text(temp.Root() / "link")), StartAddress(home));
  fs::permissions(place, fs::perms::all);
  EXPECT_TRUE(StartAddress(home).starts_with(home)) << "others could have put something there";
  fs::permissions(temp.Home(), fs::perms::all);
  EXPECT_EQ(StartAddress(home), u"");
}

TEST(OtherStart, ItsJobsRunNextAndWithoutAnyTheWindowComesBack) {
  MainWindow main;
  for (const char16_t* name : {u"甲", u"乙"}) main.AddJob(name);
  main.Program.Store.Jobs[1].Enabled = false;
  main.WriteSource("甲/a", "a");
  main.WriteSource("乙/b", "b");
  main.Start();
  main.Window.close();
  ASSERT_FALSE(main.Window.isVisible() && !main.Window.isMinimized());
  EXPECT_EQ(main.Window.TakeStart({{u"乙", u"丙"}, {}}), Names{u"丙"});
  EXPECT_TRUE(WaitUntil([&] { return fs::exists(main.Backup("乙/b")); }));
  EXPECT_FALSE(fs::exists(main.Backup("甲/a"))) << "nothing else";
  EXPECT_FALSE(main.Window.isVisible() && !main.Window.isMinimized()) << "it may stay hidden";
  EXPECT_EQ(main.Window.TakeStart({}), Names());
  EXPECT_TRUE(main.Window.isVisible() && !main.Window.isMinimized());
  // Handed over, then removed before its turn.
  EXPECT_EQ(main.Window.TakeStart({{u"甲"}, {}}), Names());
  main.Program.Store.Jobs[0].Name = u"丁";
  EXPECT_TRUE(WaitUntil([&] { return main.Window.findChild<QMessageBox*>() != nullptr; }));
  EXPECT_TRUE(main.Window.findChild<QMessageBox*>()->text().startsWith("找不到排程「甲」"));
  main.Window.EndProgram();
  EXPECT_EQ(main.Window.TakeStart({}), std::nullopt);
}

TEST(OtherStart, VersionsThatAreWantedWhileAJobRunsAreShownAfterwards) {
  MainWindow main;
  main.AddJob(u"甲");
  main.Start();
  main.Program.State.RunBusy = true;
  QString told;
  WhenDialog([&](QWidget& box) {
    EXPECT_FALSE(main.Program.State.RunBusy);
    told = dynamic_cast<QMessageBox&>(box).text();
    box.close();
  });
  EXPECT_EQ(main.Window.TakeStart({{}, {}, u"/elsewhere"}), Names());
  const auto* waits = main.Window.findChild<QMessageBox*>();
  ASSERT_NE(waits, nullptr);
  EXPECT_TRUE(waits->text().contains("「/elsewhere」的較早版本")) << waits->text().toStdString();
  QTimer::singleShot(50, [&] { main.Program.State.RunBusy = false; });
  EXPECT_TRUE(WaitUntil([&] { return !told.isEmpty(); }));
  EXPECT_TRUE(told.startsWith("沒有排程保留「/elsewhere」的較早版本。")) << told.toStdString();
  EXPECT_FALSE(main.Window.HasEnded());
}

TEST(OtherStart, AWindowThatIsWantedWhileNamedJobsRunStays) {
  MainWindow main;
  main.AddJob(u"甲");
  main.AddJob(u"乙").NextRun = main.Clock.Now() - std::chrono::hours(1);
  main.WriteSource("甲/a", "a");
  main.WriteSource("乙/b", "b");
  main.Start(u"甲");
  EXPECT_EQ(main.Window.TakeStart({}), Names());
  QString asked;
  WhenDialog([&](QWidget& dialog) {
    asked = dialog.objectName();
    Find<QAbstractButton>(dialog, "btnLater")->click();
  });
  EXPECT_TRUE(WaitUntil([&] { return !asked.isEmpty(); })) << "as at any start";
  EXPECT_TRUE(fs::exists(main.Backup("甲/a")));
  EXPECT_FALSE(main.Window.HasEnded());
  EXPECT_TRUE(main.Named("picToolbar")->isEnabled());
  EXPECT_TRUE(main.Program.Schedule.TimerOn());
}

}  // namespace
}  // namespace kavrel
