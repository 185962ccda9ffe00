// What changed from one state of a job to another.
#pragma once

#include <QDialog>
#include <QTimer>
#include <optional>
#include <string_view>
#include <vector>

#include "app/program.h"
#include "app/state_files.h"
#include "ui/difference_model.h"
#include "ui/reading_monitor.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QTableView;

namespace kavrel {

class FrmCompare : public QDialog {
  Q_OBJECT

 public:
  /// Two of these states, the newest first, by their positions. The program outlives the dialog.
  FrmCompare(Program& program, std::u16string_view job, std::vector<JobState> states, int older,
             int newer, QWidget* parent);

  /// Ends what is being read, then closes.
  void reject() override;

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  QLayout* MakeChoices(int older, int newer);
  QLayout* MakeFilter();
  void MakeTable();
  const JobState& StateOf(const QComboBox& choice) const;

  void ChooseState();
  void Compare();
  /// What is different; nothing where a state cannot be read, which is then told.
  std::optional<std::vector<StateDifference>> Differences();
  std::optional<StateListing> ReadOne(const JobState& state);
  void ShowCounts();
  void ApplyFilter();

  Program& program_;
  const std::vector<JobState> states_;
  DifferenceModel model_;
  ReadingMonitor monitor_;
  QTimer filter_timer_;  ///< waits until the user pauses
  QString trouble_;      ///< what could not be read
  bool again_ = false, closing_ = false, begun_ = false;
  QComboBox *cboOlder_, *cboNewer_, *cboChange_;
  QLineEdit* txtSearch_;
  QTableView* table_;
  QLabel* lblCounts_;
};

}  // namespace kavrel
