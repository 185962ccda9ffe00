#include "ui/desktop.h"

#include <QTest>

namespace kavrel {

namespace {

bool Installed(const std::string& program) {
  return RunCommand({"/bin/sh", "-c", "command -v " + program}).ExitCode == 0;
}

}  // namespace

std::string Shell(const std::string& command) {
  std::string output = RunCommand({"/bin/sh", "-c", command}).Output;
  while (output.ends_with('\n')) output.pop_back();
  return output;
}

void DesktopTest::SetUp() {
  for (const char* program : {"Xvfb", "openbox", "trayer", "xdotool", "xprop"}) {
    if (!Installed(program)) GTEST_SKIP() << program << " is not installed";
  }
  server_ = std::make_unique<BackgroundCommand>(std::vector<std::string>{
      "/bin/sh", "-c",
      "exec Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp -noreset 3>" +
          display_file_.string() + " >/dev/null 2>&1"});
  ASSERT_TRUE(Becomes([&] { return ReadTestFile(display_file_).ends_with('\n'); }));
  std::string display = ReadTestFile(display_file_);
  display.pop_back();
  display_ = std::make_unique<EnvironmentVariable>("DISPLAY", ":" + display);
  platform_ = std::make_unique<EnvironmentVariable>("QT_QPA_PLATFORM", "xcb");
  manager_ = Background("openbox");
  ASSERT_TRUE(Becomes([] {
    return Shell("xprop -root _NET_SUPPORTING_WM_CHECK").find("0x") != std::string::npos;
  }));
  tray_ = Background("trayer --edge top --align left --widthtype request --height 32");
  ASSERT_TRUE(Becomes([] { return !Shell("xdotool search --class trayer").empty(); }));
}

std::unique_ptr<BackgroundCommand> DesktopTest::Background(const std::string& command) {
  return std::make_unique<BackgroundCommand>(
      std::vector<std::string>{"/bin/sh", "-c", "exec " + command + " >/dev/null 2>&1"});
}

std::unique_ptr<BackgroundCommand> DesktopTest::StartKavrel(
    const std::filesystem::path& program_folder, const std::string& jobs) const {
  return Background("env HOME='" + user_.string() + "' XDG_CONFIG_HOME= XDG_DATA_HOME= " +
                    std::string(KAVREL) + " --home '" + program_folder.string() + "' " + jobs);
}

bool DesktopTest::Becomes(const std::function<bool()>& condition) {
  return QTest::qWaitFor(condition, 60000);
}

std::string DesktopTest::Window() {
  // By its plain letters alone: the search reads the old form of the title, which is in the
  // locale's encoding, and the C locale has no Chinese.
  return Shell("xdotool search --onlyvisible --name '^Kavrel Ver 2.05 ' | head -1");
}

std::string DesktopTest::Focused() {
  return Shell("xdotool getwindowfocus 2>/dev/null");
}

std::string DesktopTest::FocusedTitle() {
  return Shell("xdotool getwindowfocus getwindowname 2>/dev/null");
}

bool DesktopTest::FocusComesTo(const std::string& title) {
  return Becomes([&] { return FocusedTitle().starts_with(title); });
}

void DesktopTest::Press(const std::string& keys) {
  Shell("xdotool key " + keys);
}

void DesktopTest::Type(const std::string& text) {
  Shell("xdotool type '" + text + "'");
}

}  // namespace kavrel
