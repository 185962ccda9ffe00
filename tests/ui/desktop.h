// A desktop of the test's own: an X server in memory, a window manager, a tray, and hands that
// press keys on it.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "support/command.h"
#include "support/temp_folder.h"
#include "support/variable.h"

namespace kavrel {

/// What a shell command prints, without the last line's end.
std::string Shell(const std::string& command);

class DesktopTest : public ::testing::Test {
 protected:
  void SetUp() override;

  static std::unique_ptr<BackgroundCommand> Background(const std::string& command);
  /// The real program over that program folder, at home in the test's own user folder.
  std::unique_ptr<BackgroundCommand> StartKavrel(const std::filesystem::path& program_folder,
                                                 const std::string& jobs = {}) const;

  /// Looks again and again, for a while.
  static bool Becomes(const std::function<bool()>& condition);
  /// The main window's X id while it is in sight; empty while it is not.
  static std::string Window();
  /// The X id of the window that gets the keys, and its title.
  static std::string Focused();
  static std::string FocusedTitle();
  /// Waits until the keys go to a window whose title begins so.
  static bool FocusComesTo(const std::string& title);

  /// Presses these keys, one after the other: "alt+n", "Down", "Return".
  static void Press(const std::string& keys);
  /// Types plain letters.
  static void Type(const std::string& text);

  const TempFolder temp_;
  const std::filesystem::path user_ = temp_.Root() / "user";

 private:
  const std::filesystem::path display_file_ = temp_.Root() / "display";
  std::unique_ptr<EnvironmentVariable> display_, platform_;
  std::unique_ptr<BackgroundCommand> server_, manager_, tray_;
};

}  // namespace kavrel
