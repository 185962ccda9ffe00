// What the main window offers for a backup that is there already: taking it back, all or some of
// it, verifying it, reading it again by its sums, and trying a restore.
#pragma once

#include <QObject>
#include <functional>
#include <optional>

#include "app/program.h"
#include "ui/restore_wish.h"
#include "ui/state_opener.h"

class QWidget;

namespace kavrel {

class LogView;
class RunShow;
struct RunEnd;

class BackupCare : public QObject {
  Q_OBJECT

 public:
  /// All outlive this; `window` is the parent.
  BackupCare(Program& program, RunShow& run, LogView& log, QWidget* window);

  /// Restores the backup of the job on that row in this mode.
  void RestoreAll(int row, RestoreMode mode);
  /// Shows what that would do, and does it if that is wanted then.
  void PreviewRestore(int row, RestoreMode mode);
  /// Has files picked of the backup of the job on that row, and restores them.
  void RestoreSome(int row);
  /// Shows all versions of the file of this absolute path, whichever job backs it up, and restores
  /// what is wanted of them.
  void ShowVersions(const std::u16string& path);
  void Verify(int row);
  /// Compares all of the job's backup with its sums.
  void Scrub(int row);
  void TryRestore(int row);
  /// Tells what a verification found, and offers its log when there are differences.
  VerifyReport VerifyOnce(int row, const std::u16string& unit, bool mend);
  bool WantsMending(const VerifyReport& report);
  /// Offers to take back files of the source that their sums convict.
  void OfferGood(int row, const std::u16string& unit, const VerifyReport& report);
  void TellVerification(const VerifyReport& report, const BackupJob& job);

 Q_SIGNALS:
  /// Also when it did not take place, which the user who started it is to be told.
  void Ended(RunOutcome outcome, const BackupJob& job);
  /// How a restore or a verification ended that took place.
  void Finished(const RunEnd& end);
  /// A job was changed and stored.
  void JobChanged();

 private:
  void LookWithoutSource(int row, const std::function<VerifyReport()>& look);
  /// Tells what was found in a backup that was looked at without its source.
  void TellCare(const VerifyReport& report, const BackupJob& job);
  /// `state`: what has come to which end, to go before the figures.
  void TellFound(const VerifyReport& report, const QString& state);
  bool MayStart(int row) const;
  /// Restores of the job on that row what is asked for; a password that does not fit is asked for,
  /// once. False when this is gone meanwhile.
  bool Restore(int row, RestoreRequest request);
  /// Restores again with a password that the user knows; nothing when they know none.
  std::optional<RunOutcome> WithPassword(BackupJob& job, std::u16string_view archive,
                                         const std::function<RunOutcome()>& restore);
  std::optional<RestoreWish> AskWhat(int row);
  /// Asks with the scheduler at rest: a run that begins meanwhile would change what is being looked
  /// at. Then does what is wanted.
  void AskAndFulfil(const std::function<std::optional<RestoreWish>()>& ask);
  void Fulfil(const RestoreWish& wish);
  void RestoreBeside(const RestoreWish& wish);

  Program& program_;
  RunShow& run_;
  LogView& log_;
  QWidget* window_;
  StateOpener opener_;
};

}  // namespace kavrel
