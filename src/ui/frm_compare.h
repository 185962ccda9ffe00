// What changed from one state of a job to another.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "app/program.h"
#include "app/state_files.h"
#include "ui/difference_model.h"
#include "ui/reading_dialog.h"

class QComboBox;
class QLabel;
class QTableView;

namespace kavrel {

class FrmCompare : public ReadingDialog {
  Q_OBJECT

 public:
  /// Two of these states, the newest first, by their positions. The program outlives the dialog.
  FrmCompare(Program& program, std::u16string_view job, std::vector<JobState> states, int older,
             int newer, QWidget* parent);

 protected:
  void Read() override;
  void ShowRead() override;

 private:
  QLayout* MakeChoices(int older, int newer);
  SiftRow* MakeFilter();
  void MakeTable();
  const JobState& StateOf(const QComboBox& choice) const;

  /// What is different; nothing where a state cannot be read, which is then told.
  std::optional<std::vector<StateDifference>> Differences();
  std::optional<StateListing> ReadOne(const JobState& state);
  void ShowCounts();

  Program& program_;
  const std::vector<JobState> states_;
  DifferenceModel model_;
  std::optional<std::vector<StateDifference>> found_;
  QString trouble_;  ///< what could not be read
  QComboBox *cboOlder_, *cboNewer_;
  QTableView* table_;
  QLabel* lblCounts_;
};

}  // namespace kavrel
