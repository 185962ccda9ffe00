// Opening a file of a state: never that file itself. It may have names in several states, and a
// program that edits it would change all of them; so what is opened is a copy that nobody may
// write to.
#pragma once

#include <QString>
#include <memory>
#include <string_view>

#include "app/program.h"
#include "engine/states.h"

class QTemporaryDir;
class QWidget;

namespace kavrel {

/// The copies lie in a folder for their user alone, which goes with this.
class StateOpener {
 public:
  /// The program outlives this.
  explicit StateOpener(Program& program);
  ~StateOpener();
  StateOpener(const StateOpener&) = delete;
  StateOpener& operator=(const StateOpener&) = delete;

  /// Opens a copy of the file with the user's desktop; its name tells the state's date. A box over
  /// the owner tells where that was not possible.
  void Open(QWidget& owner, const BackupJob& job, const JobState& state, std::u16string_view path);

 private:
  /// The copy's path; empty where there is none, and why.
  QString Copy(const BackupJob& job, const JobState& state, std::u16string_view path, QString& why);

  Program& program_;
  std::unique_ptr<QTemporaryDir> folder_;
  int made_ = 0;
  bool busy_ = false;
};

}  // namespace kavrel
