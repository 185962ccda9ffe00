// What a run or a restore of a job would do, to be looked through before it is run.
#pragma once

#include <QDialog>
#include <QElapsedTimer>
#include <optional>

#include "app/program.h"
#include "ui/plan_model.h"

class QLabel;
class QPushButton;
class QTableView;

namespace kavrel {

/// Accepted means that the user wants the job to run. The scheduler is at rest meanwhile.
class FrmPreview : public QDialog, private ProgramHost {
  Q_OBJECT

 public:
  FrmPreview(Program& program, std::int32_t job_index, QWidget* parent);
  /// Of a restore, which this asks for.
  FrmPreview(Program& program, std::int32_t job_index, RestoreRequest restore, QWidget* parent);

  /// Ends the search for what would be done, if that is still under way, then closes.
  void reject() override;

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  FrmPreview(Program& program, std::int32_t job_index, std::optional<RestoreRequest> restore,
             QWidget* parent);
  void Plan();
  /// What would be done; nothing of it where it cannot even begin.
  RunOutcome FindPlan();
  void ShowPlan();
  void ShowWarnings();

  // What the planned run tells.
  void PumpMessages() override;
  int ApiFileCopyCallback(std::uint64_t, std::uint64_t, std::uint32_t, std::uint64_t, std::uint64_t,
                          std::uint32_t) override {
    return 0;
  }
  void DrawCaptions(std::u16string_view, std::u16string_view, std::u16string_view) override {}

  Program& program_;
  const BackupJob& job_;
  const std::optional<RestoreRequest> restore_;
  RunState state_;
  RunPlan plan_;
  PlanModel model_;
  QElapsedTimer pumped_;
  bool planned_ = false, planning_ = false;
  SiftRow* sift_;
  QTableView* table_;
  QLabel *lblTotals_, *lblWarning_;
  QPushButton* cmdRun_;
};

}  // namespace kavrel
