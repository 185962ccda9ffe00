// The part of the main window that shows a run at work.
#pragma once

#include <QObject>
#include <cstdint>
#include <string>

#include "app/run_progress.h"
#include "ui/caption_strip.h"
#include "ui/controls/cls_progress.h"

class QPushButton;

namespace kavrel {

/// A run tells of every file; only what Draw finds then is shown, so that a run that copies
/// thousands of files a second spends its time on them.
class RunPanel : public QObject {
  Q_OBJECT

 public:
  /// The captions with the overall progress, and the bar of the file at work.
  RunPanel(QWidget* captions, QWidget* file_bar);

  /// A run between these folders is about to begin. What an archiver notes are parts of a hundred,
  /// of the whole work: there is no bar of one file then.
  void Begin(std::u16string_view source, std::u16string_view dest, bool by_percent);
  /// Showing begins with the run's folders: nothing is left of the run before.
  void Show(bool show);
  void SetCaptions(std::u16string_view source, std::u16string_view dest, std::u16string_view name);
  void SetFile(std::uint64_t total_size, std::uint64_t bytes_done, std::uint32_t block_size);
  /// Nothing done; everything done.
  void ResetFile();
  void FillFile();

  void Draw(const RunFigures& figures);
  /// What the status bar shows of the file at work; empty before there is any.
  QString FileText() const;

 Q_SIGNALS:
  void CancelClick();

 private:
  void Build();
  void DrawCaptions();

  QWidget* captions_;
  QWidget* file_area_;
  CaptionStrip *source_, *dest_, *name_, *total_;
  QPushButton* cancel_;
  clsProgress file_, all_;
  std::u16string run_source_, run_dest_, source_text_, dest_text_, name_text_;
  std::uint64_t file_total_ = 0, file_done_ = 0;
  std::uint32_t block_ = 0;
  int bar_max_ = 100, bar_value_ = 0;
  bool any_file_ = false, by_percent_ = false;
};

}  // namespace kavrel
