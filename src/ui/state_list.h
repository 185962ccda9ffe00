// The states of a job above the files of the one that is selected.
#pragma once

#include <QWidget>
#include <vector>

#include "ui/controls/cls_lict_view.h"
#include "ui/state_strip.h"

class QPushButton;

namespace kavrel {

class StateList : public QWidget {
  Q_OBJECT

 public:
  /// The newest first, as ListStates gives them; `notes` for each of them.
  StateList(const std::vector<JobState>& states, const std::vector<StateNote>& notes,
            const StateGrowth& growth);

  /// -1 selects none.
  void Select(int row) { lstStates_.SetSelectedItem(row); }
  /// What has come of PinWanted.
  void ShowPinned(int row, bool pinned, const QString& note);

 Q_SIGNALS:
  void Selected(int row);
  void OpenWanted(int row);
  void PinWanted(int row, bool pinned);
  /// With the one before it, or behind it where there is none before.
  void CompareWanted(int older, int newer);

 private:
  void Add(const JobState& state, const StateNote& note);
  void ShowSelected(int row);
  void Compare();

  clsLictView lstStates_;
  StateStrip* strip_;
  QPushButton *btnCompare_, *btnOpenState_, *btnPin_;
  std::vector<bool> pinned_;
};

}  // namespace kavrel
