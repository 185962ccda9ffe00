// The editor of the exclusion rules.
#pragma once

#include <QDialog>
#include <QTimer>
#include <functional>
#include <memory>
#include <vector>

#include "platform/net_enum.h"
#include "rules/exclusion_rules.h"
#include "ui/controls/cls_lict_view.h"

class QLabel;
class QPushButton;
class QStackedLayout;

namespace kavrel {

class Program;
class RulePanel;

class frmExc : public QDialog {
  Q_OBJECT

 public:
  /// Begins a search of the network.
  using Network = std::function<std::unique_ptr<NetEnum>()>;

  /// Without a network, the one that this machine is in.
  frmExc(Program& program, QWidget* parent, Network network = {});

  /// As by Escape or the close box: leaves the panel, or the dialog, and asks before changes are
  /// lost.
  void reject() override;
  /// Looks whether the network search has found something.
  void BrowseOn();

 private:
  QWidget* MakeListPage();
  QWidget* MakeNetworkLine();
  void FillList();
  void ShowRow(int row);
  void FindDrives();
  void StopBrowsing();
  void NetEnumCallBack(const NetEntry& entry);
  void SetDirtys(bool dirtys);
  void ShowPanel(bool show);
  void lstExc_NotifyKeyDown(int key, bool& handled);

  void btnNew_Click();
  void btnEdit_Click();
  void btnDel_Click();
  void btnDone_Click();
  void btnRescan_Click();
  void btnRestore_Click();
  void btnOK_Click();

  Program& program_;
  Network network_;
  std::vector<ExclusionRule> rules_;  ///< one a row
  bool adding_ = false, editing_ = false, dirtys_ = false;
  std::unique_ptr<NetEnum> search_;
  QTimer browse_timer_;
  clsLictView lstExc_;
  RulePanel* panel_;
  QStackedLayout* pages_;
  QLabel* lblState_;
  QPushButton *btnEdit_, *btnDel_, *btnDone_, *btnStop_;
};

}  // namespace kavrel
