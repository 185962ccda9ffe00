// What is asked of an archive that is to be unpacked, which may come from anywhere, and of where it
// is to go, before anything is done: by the restore and by its preview alike, so that these cannot
// disagree. Nothing lands outside the folder that it is unpacked into.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "archive/compressed_backup.h"
#include "archive/host_monitor.h"
#include "platform/files.h"

namespace kavrel {

class Extraction {
 public:
  /// All outlive this.
  Extraction(ArchiveContext& context, const BackupJob& job, std::u16string_view archive_path,
             std::u16string_view destination, const RestorePick* pick);
  virtual ~Extraction() = default;

  /// 0, or the archiver's code, kCommandCancelled or kWrongPassword.
  int Run();

 protected:
  using Names = std::set<std::u16string>;

  /// Why the destination cannot be had, in words; empty when it can.
  virtual std::u16string MakeDestination() = 0;
  /// Each entry takes its place.
  virtual int Place(int kind) = 0;

  /// Logs and counts what cannot be restored, and why: in words, or as the reason tells. Gives the
  /// archiver's code for an error.
  int Fail(const std::u16string& what, PlanReason reason = PlanReason::Unreadable,
           std::u16string_view why = {});
  /// Tells of the one obstacle that lets nothing be restored, and counts what that costs.
  int Stop(const std::u16string& obstacle, PlanReason reason);

  Secret Password() const { return job_.UsePassword ? job_.Password : Secret(); }
  static bool IsListedLink(const IndividualInfo& entry);
  /// What is in the entry's place already.
  Result<FileStatus> StatusAtPlace(std::u16string_view name) const;

  /// Where a link of the archive is to lead.
  const std::string* TargetOf(const IndividualInfo& link) const;
  /// Whether nothing of the archive can be relied on.
  bool BrokenOff() const { return broken_off_; }
  /// Nothing that was unpacked can be trusted.
  int Break(int result) {
    broken_off_ = true;
    return result;
  }

  ArchiveContext& context_;
  const BackupJob& job_;
  const RestorePick* const pick_;
  const std::u16string path_, destination_;
  HostMonitor monitor_;
  ClsArc archiver_;
  std::shared_ptr<SevenZipLibrary::Archive> archive_;
  /// Entries that must not be made, and why.
  std::map<std::u16string, PlanReason> refused_;

 private:
  void TakePicked();
  bool Stays(const IndividualInfo& entry);
  bool FindEscape(std::u16string& entry, std::u16string& why);
  const IndividualInfo* SmallestEncrypted() const;
  int TryPassword();
  int ReadLinks();
  void JudgeLink(const IndividualInfo& entry, std::string_view bytes);

  Names links_;                                    ///< of the archive
  std::map<std::u16string, std::string> targets_;  ///< of those that may be made
  bool broken_off_ = false;
};

}  // namespace kavrel
