// What stands in the job list's place while there is no job: the way to a first one in a few
// clicks.
#pragma once

#include <QTimer>
#include <QWidget>
#include <memory>
#include <vector>

#include "app/first_job.h"
#include "engine/tree_count.h"
#include "ui/controls/cls_lict_view.h"

class QComboBox;
class QLabel;
class QPushButton;

namespace kavrel {

class WelcomePage : public QWidget {
  Q_OBJECT

 public:
  explicit WelcomePage(Program& program);

  void FocusList() { sources_.SetFocus(); }

 Q_SIGNALS:
  void JobWanted(const JobForm& form);
  /// For all that this page does not ask.
  void EditorWanted();

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  QWidget* MakeHeading();
  QWidget* MakeEnd();
  void FollowLanguage();
  void FillSources();
  /// Shows the disks that are there now; unless `anew`, nothing happens while they are the same.
  void FillPlaces(bool anew);
  /// Counts on for a moment.
  void Count();
  void ShowSize(std::size_t row);
  void ShowChoice();
  void ApplyColour();
  JobForm Form() const;

  Program& program_;
  clsLictView sources_, places_;
  std::vector<SourceOffer> source_offers_;
  std::vector<std::u16string> volumes_;
  std::vector<PlaceOffer> place_offers_;
  std::vector<std::unique_ptr<TreeCount>> counts_;  ///< by source; null where nothing is counted
  std::size_t counting_ = 0;                        ///< how many of them are done
  QTimer count_timer_, disk_timer_;
  QComboBox* cboOften_;
  QLabel *lblChoice_, *lblWarning_;
  QPushButton* cmdFirstJob_;
};

}  // namespace kavrel
