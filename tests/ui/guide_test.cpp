#include <gtest/gtest.h>

#include <QLineEdit>
#include <QToolButton>

#include "support/variable.h"
#include "ui/frm_help.h"
#include "ui/main_window.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

TEST(Guide, OpensByF1InEveryWindowAndByTheMenu) {
  MainWindow main;
  main.AddJob(u"照片");
  main.WriteSource("照片/a.jpg", "1");
  main.Start();
  const fs::path bin = main.Temp.Root() / "bin", note = main.Temp.Root() / "note";
  WriteTestFile(bin / "xdg-open", "#!/bin/sh\necho \"$1\" > '" + note.string() + ".new' && mv '" +
                                      note.string() + ".new' '" + note.string() + "'\n");
  fs::permissions(bin / "xdg-open", fs::perms::owner_all);
  const auto opened = [&] {
    EXPECT_TRUE(WaitUntil([&] { return fs::exists(note); }));
    const std::string path = ReadTestFile(note);
    fs::remove(note);
    return fs::exists(path.substr(0, path.find('\n'))) ? path.substr(path.rfind('/') + 1) : path;
  };
  frmHelp help(&main.Window);
  ShowAndWait(help);
  {
    const EnvironmentVariable path("PATH", bin.string() + ":/usr/bin:/bin");
    Press(*Find<QLineEdit>(help, "txtSel"), Qt::Key_F1);
  }
  EXPECT_TRUE(opened().starts_with("guide."));
  help.close();
  {
    const EnvironmentVariable path("PATH", main.Temp.Root().string());
    EXPECT_TRUE(MessageOf([&] { main.Action("mnuGuide")->trigger(); }).contains("xdg-utils"));
    // So do folders, and what is not there is told in any case.
    for (const auto& [item, text] :
         {std::pair("mnuIntDir", "xdg-utils"), std::pair("mnuOutDir", "不存在")}) {
      EXPECT_TRUE(MessageOf([&] { main.Menu(main.Jobs(), 0, item); }).contains(text)) << item;
    }
  }
}

}  // namespace
}  // namespace kavrel
