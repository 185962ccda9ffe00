// The job editor's second page: what a job backs up, where to and how.
#pragma once

#include <QWidget>

#include "core/job_form.h"
#include "ui/file_picker.h"

class QCheckBox;
class QComboBox;
class QGridLayout;
class QHBoxLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;

namespace kavrel {

class Program;

class JobItemPage : public QWidget {
  Q_OBJECT

 public:
  explicit JobItemPage(Program& program);

  void SetPicker(FilePicker& picker) { picker_ = &picker; }
  void Show(const JobForm& form);
  /// Fills the form's fields that this page shows.
  void Read(JobForm& form) const;
  /// Leads the user to the field that a refused form is about.
  void FocusField(FormCheck check);

 Q_SIGNALS:
  /// The user changed something.
  void Changed();

 private:
  void MakeFields(QGridLayout& grid);
  void MakeOptions(QGridLayout& grid);
  QHBoxLayout* MakeRecovery();
  void ConnectFields();
  void FillFilters();
  void ShowFileTypes(const std::u16string& patterns);
  std::u16string FileTypes() const;
  void EnableOptions();
  void ComJobType_Click(int index);
  /// Whether the name and the source are what somebody has entered, not those of a new job or of a
  /// preset.
  bool HasOwnEntries() const;
  void Browse(QLineEdit& box, const QString& title);
  void btnTags_Click();
  void cmdLoadFFs_Click();

  Program& program_;
  FilePicker* picker_ = &DesktopFilePicker();
  QComboBox *ComJobType_, *cboBackupType_, *cboFF_;
  QLineEdit *txtDesc_, *txtSrc_, *txtDest_, *txtFileSize_, *txtZipPassWord_;
  QPushButton *btnBrowseSrc_, *btnBrowseDest_, *btnTags_, *cmdLoadFFs_;
  QString given_name_, given_source_;  ///< of a new job, or of the last preset
  std::u16string kept_name_;           ///< of which txtDesc_ was given what is shown
  QCheckBox* chkShowPassWord_;
  QCheckBox *chkExc_, *chkSubDirs_, *chkSrcFolder_, *chkEnabled_, *chkRecycle_, *chkFileSize_,
      *chkZipPassWord_, *chkRecovery_;
  QSpinBox* numRecovery_;
  QLabel *Label2_, *Label7_;
};

}  // namespace kavrel
