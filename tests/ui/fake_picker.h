// Answers in place of the desktop's file dialogs.
#pragma once

#include "ui/file_picker.h"

namespace kavrel {

struct FakePicker final : FilePicker {
  QString Answer, Title, Start;
  int Calls = 0;

  QString PickFolder(QWidget&, const QString& title, const QString& start) override {
    return Note(title, start);
  }
  QString PickSaveFile(QWidget&, const QString& title, const QString& start, const QString&,
                       const QString&) override {
    return Note(title, start);
  }

 private:
  QString Note(const QString& title, const QString& start) {
    ++Calls;
    Title = title;
    Start = start;
    return Answer;
  }
};

}  // namespace kavrel
