#include "app/run_health.h"

#include <algorithm>
#include <map>

#include "base/text.h"
#include "log/log_filter.h"
#include "schedule/next_run.h"

namespace kavrel {

namespace {

// A tick may come late, and jobs wait for each other.
constexpr std::chrono::minutes kGrace{10};
constexpr std::size_t kNamesTold = 5;

struct Last {
  const LogRow* Run = nullptr;
  const LogRow* Verification = nullptr;  ///< since that run
};

std::map<std::u16string_view, Last> LastRows(const std::vector<LogRow>& rows) {
  std::map<std::u16string_view, Last> last;
  for (const LogRow& row : rows) {
    const std::u16string_view status = row[1];
    if (status.starts_with(u"備份")) {
      last[row[0]] = {&row, nullptr};
    } else if (status.starts_with(u"驗證")) {
      last[row[0]].Verification = &row;
    }
  }
  return last;
}

bool WentBadly(const BackupJob& job, const Last& last) {
  return job.Extras.NotBegun || job.Extras.Unseen || (last.Run && IsBadRun(*last.Run)) ||
         (last.Verification && IsBadRun(*last.Verification));
}

std::u16string Names(const std::vector<std::u16string>& names) {
  std::u16string text;
  for (std::size_t i = 0; i < std::min(names.size(), kNamesTold); ++i) {
    if (i > 0) text += u"、";
    text += names[i];
  }
  return names.size() > kNamesTold ? text + u" …" : text;
}

}  // namespace

RunHealth JudgeRuns(const std::vector<BackupJob>& jobs, const std::vector<LogRow>& rows,
                    DateTime now) {
  const std::map<std::u16string_view, Last> last_rows = LastRows(rows);
  RunHealth health;
  bool any = false;
  for (const BackupJob& job : jobs) {
    if (job.Deleted || !job.Enabled) continue;
    const auto found = last_rows.find(job.Name);
    const Last last = found == last_rows.end() ? Last() : found->second;
    any = any || last.Run;
    // A time that leads nowhere never comes.
    const bool waits = NextRunAfterNow(job, now) > now;
    if (WentBadly(job, last)) {
      health.Failed.push_back(job.Name);
    } else if (waits && job.NextRun + kGrace < now) {
      health.Overdue.push_back(job.Name);
    }
  }
  health.State = !health.Failed.empty()    ? Health::Failed
                 : !health.Overdue.empty() ? Health::Overdue
                 : any                     ? Health::Good
                                           : Health::Unknown;
  return health;
}

std::u16string HealthText(const RunHealth& health) {
  std::u16string text;
  if (health.State == Health::Good) text = u"最近的備份都順利完成";
  if (!health.Failed.empty()) text = u"最近的備份有問題：" + Names(health.Failed);
  if (!health.Overdue.empty()) {
    if (!text.empty()) text += u"\n";
    text += u"逾期未備份：" + Names(health.Overdue);
  }
  return text;
}

}  // namespace kavrel
