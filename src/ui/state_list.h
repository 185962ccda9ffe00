// The states of a job above the files of the one that is selected.
#pragma once

#include <QWidget>
#include <vector>

#include "engine/states.h"
#include "ui/controls/cls_lict_view.h"

class QPushButton;

namespace kavrel {

class StateList : public QWidget {
  Q_OBJECT

 public:
  /// The newest first, as ListStates gives them.
  explicit StateList(const std::vector<JobState>& states);

  /// -1 selects none.
  void Select(int row) { lstStates_.SetSelectedItem(row); }

 Q_SIGNALS:
  void Selected(int row);
  void OpenWanted(int row);

 private:
  void Add(const JobState& state);

  clsLictView lstStates_;
  QPushButton* btnOpenState_;
};

}  // namespace kavrel
