#include "support/test_program.h"

#include "base/text.h"
#include "engine/rule_check.h"
#include "engine/run_planner.h"
#include "files/path.h"

namespace kavrel {

BackupJob& TestProgram::AddJob(BackupType type) {
  BackupJob job;
  NewJobDefaults(job, Clock.Now(), u"");
  job.NextRun = Program.NextRunTimeOf(job);
  job.JobIndex = static_cast<std::int32_t>(Program.Store.Jobs.size());
  job.Name = u"測試 " + FromUtf8(std::to_string(job.JobIndex));
  job.Source.Path = u"C:\\src\\";
  job.Destination.Path = u"D:\\dst\\";
  job.AddSourceFolder = false;
  SetJobType(job, type);
  return Program.Store.Jobs.emplace_back(job);
}

TestProgram::Foreseen TestProgram::Foresee(const BackupJob& job) {
  Foreseen foreseen;
  RunState state;
  PlanBackupJob(Program.Context, Host, state, job, foreseen.Plan, foreseen.Counters);
  return foreseen;
}

void TestProgram::SetRules(bool on) {
  Program.Preferences.SetExcEnabled(on);
  TakeSwitch(Program.Exclusions, Program.Preferences);
}

std::string TestProgram::LogText(std::u16string_view path) const {
  const std::string bytes = *Temp.Files().ReadWhole(path);
  std::u16string text;
  for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
    text += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                  static_cast<unsigned char>(bytes[i + 1]) << 8);
  }
  return ToUtf8(text);
}

std::string TestProgram::LogLines() const {
  const std::string text = LogText(Program.Log.CurrentPath());
  const std::string time = ToUtf8(DateTimeText(const_cast<SetClock&>(Clock).Now()));
  std::string lines;
  for (std::size_t at = text.find("\r\n") + 2; at < text.size();) {
    const std::size_t end = text.find("\r\n", at);
    if (end == at || end == text.npos) break;
    std::string line = text.substr(at, end - at);
    if (line.starts_with(time)) line.erase(0, time.size());
    if (!line.starts_with(": 原因：")) lines += line + "\n";
    at = end + 2;
  }
  return lines;
}

}  // namespace kavrel
