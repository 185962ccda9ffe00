#include "core/settings.h"

#include <gtest/gtest.h>

#include "support/temp_folder.h"

namespace kavrel {
namespace {

TEST(Settings, BothBooleanFormsAreReadAndNonsenseIsTheDefault) {
  const TempFolder temp;
  const std::u16string path = TempFolder::Text(temp.Home() / "Settings.ini");
  Settings settings(SettingsStore(temp.Files(), path));
  EXPECT_EQ(settings.ProcessPriority(), 3);
  EXPECT_EQ(settings.LogRestrictions(), 3);
  EXPECT_EQ(settings.ProtIcon(), 3);
  EXPECT_FALSE(settings.ExcEnabled() || settings.PlaySound() || settings.OutWidth(10));

  WriteTestFile(temp.Home() / "Settings.ini",
                "[Settings]\nProcessPriority=6\nLogRestrictions=x\nProtIcon=1\nExcEnabled=TRUE\n"
                "PlaySound=-1\nStartMin=0\nOutWidth10=maybe\n");
  EXPECT_EQ(settings.ProcessPriority(), 3);
  EXPECT_EQ(settings.LogRestrictions(), 3);
  EXPECT_EQ(settings.ProtIcon(), 1);
  EXPECT_TRUE(settings.ExcEnabled() && settings.PlaySound());
  EXPECT_FALSE(settings.StartMin() || settings.OutWidth(10));

  EXPECT_TRUE(settings.SetExcEnabled(false));
  EXPECT_TRUE(settings.SetOutWidth(10, true));
  EXPECT_TRUE(settings.SetLogRestrictions(0));
  EXPECT_FALSE(settings.ExcEnabled());
  EXPECT_TRUE(settings.OutWidth(10));
  EXPECT_EQ(settings.LogRestrictions(), 0);
  const std::string text = ReadTestFile(temp.Home() / "Settings.ini");
  EXPECT_NE(text.find("ExcEnabled=0\n"), text.npos);
  EXPECT_NE(text.find("OutWidth10=True\n"), text.npos);
}

}  // namespace
}  // namespace kavrel
