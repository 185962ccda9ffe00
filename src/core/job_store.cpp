#include "core/job_store.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "base/number.h"
#include "base/text.h"
#include "files/path.h"
#include "platform/code_page.h"
#include "platform/error_codes.h"
#include "platform/files.h"

namespace kavrel {

namespace {

constexpr std::size_t kFewestFields = 14;
constexpr std::ptrdiff_t kFields = 24;
constexpr std::u16string_view kStoreName = u"Backup.rtm", kOldStoreName = u"old_Backup.rtm",
                              kOldExtrasName = u"old_Backup.ext";

/// The fields of one line: missing ones read as empty.
class Fields {
 public:
  explicit Fields(std::u16string_view line) : pieces_(Split(line, u'\t')) {}

  std::size_t Count() const { return pieces_.size(); }
  std::u16string_view Text(std::size_t i) const { return i < Count() ? pieces_[i] : u""; }
  std::u16string_view TextOr(std::size_t i, std::u16string_view fallback) const {
    return Text(i).empty() ? fallback : Text(i);
  }
  bool Flag(std::size_t i) {
    const bool known = Text(i) == u"0" || Text(i) == u"1";
    return Converted(i, known ? std::optional(Text(i) == u"1") : std::nullopt, false);
  }
  bool Bool(std::size_t i) { return Converted(i, ParseBool(Text(i)), false); }
  std::int32_t Number(std::size_t i) { return Converted(i, ParseInt(Text(i)), 0); }
  DateTime Date(std::size_t i) { return Converted(i, ParseDateTime(Text(i)), kZeroDate); }

  /// Whether every field that was asked for converted, and none is left over.
  bool Whole() const {
    return whole_ && std::all_of(pieces_.begin() + std::min(kFields, std::ssize(pieces_)),
                                 pieces_.end(), [](auto text) { return Trim(text).empty(); });
  }

 private:
  template <typename Value>
  Value Converted(std::size_t i, const std::optional<Value>& value, Value fallback) {
    whole_ = whole_ && (value || Text(i).empty());
    return value.value_or(fallback);
  }

  std::vector<std::u16string_view> pieces_;
  bool whole_ = true;
};

/// A line that grows field by field.
class LineWriter {
 public:
  LineWriter& operator<<(bool on) { return *this << std::u16string_view(on ? u"1" : u"0"); }
  LineWriter& operator<<(std::int32_t number) {
    return *this << std::u16string_view(Decimal(number));
  }
  LineWriter& operator<<(const DateTime& date) {
    return *this << std::u16string_view(DateTimeText(date));
  }
  LineWriter& operator<<(std::u16string_view text) {
    const std::size_t start = line_.size();
    line_ += text;
    for (std::size_t i = start; i < line_.size(); ++i) {
      // What would break the line apart becomes a blank.
      if (line_[i] == u'\t' || line_[i] == u'\r' || line_[i] == u'\n') line_[i] = u' ';
    }
    line_ += u"\t";
    return *this;
  }
  Secret Take() { return std::move(line_); }

 private:
  Secret line_;
};

/// The jobs of a store's content, in their order. `understood` becomes false when there is more in
/// it than that.
std::vector<BackupJob> ReadJobs(std::string_view bytes, bool& understood) {
  std::u16string text = DecodeTextFile(bytes);
  std::vector<BackupJob> jobs;
  jobs.reserve(static_cast<std::size_t>(std::count(text.begin(), text.end(), u'\n')) + 1);
  for (std::u16string_view rest = text; !rest.empty();) {
    const std::size_t end = rest.find(u'\n');
    std::u16string_view line = rest.substr(0, end);
    rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);
    if (line.ends_with(u'\r')) line.remove_suffix(1);
    BackupJob job;
    const LineRead read = ParseJobLine(line, job);
    understood = understood && (read == LineRead::Whole || Trim(line).empty());
    if (read == LineRead::Nothing) continue;
    job.JobIndex = static_cast<std::int32_t>(jobs.size());
    job.JobNumber = job.JobIndex + 1;
    jobs.push_back(std::move(job));
  }
  Wipe(text);
  return jobs;
}

/// Whether a path begins as one of the kinds that jobs have.
bool IsFullPath(std::u16string_view path) {
  const bool drive = path.size() > 1 && path[1] == u':';
  return drive || IsPosixPath(path) || PathKind(path) != 1;
}

/// What keeps this content of a store from being taken: there is nothing in it, or not all of it.
int FaultOf(std::string_view bytes) {
  bool understood = true;
  const std::vector<BackupJob> jobs = ReadJobs(bytes, understood);
  const bool holds = std::any_of(jobs.begin(), jobs.end(), [](const BackupJob& job) {
    return !Trim(job.Name).empty() && IsFullPath(Trim(job.Source.Path));
  });
  if (!holds) return kErrNoJobs;
  // A job without its last fields would be another one: a mirror becomes a differential job. A
  // store of the program ends with a line's end, one by hand at least with a whole line.
  const std::string_view last = bytes.substr(bytes.find_last_of("\r\n") + 1);
  const bool blank =
      std::all_of(last.begin(), last.end(), [](char c) { return c == '\0' || c == ' '; });
  return blank || std::count(last.begin(), last.end(), '\t') >= kFields ? 0 : kErrBreaksOff;
}

}  // namespace

Secret FormatJobLine(const BackupJob& job) {
  LineWriter line;
  line << job.Enabled << job.Name << job.IncludeSubfolders << job.Compressed << job.Source.Path
       << job.Destination.Path << job.Differential << job.FileTypes << job.NextRun
       << job.EveryMinutes << job.EveryHours << job.EveryDays << job.EveryWeeks << job.EveryMonths
       << job.ExcludeFileTypes << job.RefusedDays << job.LastRun << job.Synchronise
       << job.UseRecycleBin << job.LimitFileSize << job.MaxFileSizeKB << job.UsePassword
       << job.Password << job.AddSourceFolder;
  return line.Take();
}

LineRead ParseJobLine(std::u16string_view line, BackupJob& job) {
  Fields fields(line);
  if (fields.Count() < kFewestFields) return LineRead::Nothing;
  job = {};
  job.Enabled = fields.Flag(0);
  job.Name = KeptName(fields.Text(1));
  job.IncludeSubfolders = fields.Flag(2);
  job.Compressed = fields.Flag(3);
  job.Source.Path = fields.Text(4);
  job.Destination.Path = fields.Text(5);
  job.Source.Kind = PathKind(job.Source.Path);
  job.Destination.Kind = PathKind(job.Destination.Path);
  job.Differential = fields.Flag(6);
  job.FileTypes = fields.TextOr(7, kAllFiles);
  job.NextRun = fields.Date(8);
  job.EveryMinutes = fields.Number(9);
  job.EveryHours = fields.Number(10);
  job.EveryDays = fields.Number(11);
  job.EveryWeeks = fields.Number(12);
  job.EveryMonths = fields.Number(13);
  job.ExcludeFileTypes = fields.Flag(14);
  job.RefusedDays = fields.Number(15);
  job.LastRun = fields.Date(16);
  job.Synchronise = fields.Flag(17);
  job.UseRecycleBin = fields.Bool(18);
  job.LimitFileSize = fields.Flag(19);
  job.MaxFileSizeKB = fields.Number(20);
  job.UsePassword = fields.Flag(21);
  job.Password = fields.TextOr(22, kDefaultPassword);
  job.AddSourceFolder = fields.Text(23).empty() || fields.Flag(23);
  return fields.Whole() ? LineRead::Whole : LineRead::Part;
}

JobStore::JobStore(const FileSystem& file_system)
    : file_system_(file_system), file_(file_system, kStoreName), extras_(file_system) {}

bool JobStore::LoadJobs() {
  Jobs.clear();
  not_understood_ = false;
  Result<std::string> bytes = file_.Read();
  last_error_ = IsNotFound(bytes.Error) ? 0 : bytes.Error;
  if (!bytes) {
    extras_.Load(Jobs);
    return false;
  }

  bool understood = true;
  Jobs = ReadJobs(*bytes, understood);
  not_understood_ = !understood;
  Wipe(*bytes);
  extras_.Load(Jobs);
  return !Jobs.empty();
}

bool JobStore::SaveJobs() {
  Secret text;
  for (BackupJob& job : Jobs) {
    if (job.Deleted) continue;
    for (std::u16string* trimmed : {&job.Name, &job.Source.Path, &job.Destination.Path}) {
      *trimmed = std::u16string(Trim(*trimmed));
    }
    text += FormatJobLine(job);
    text += u"\r\n";
  }
  std::string bytes = EncodeTextFile(text);
  // Jobs are not kept back by extras that cannot be written; what is wrong with these is told last.
  extras_.SaveAhead(Jobs);
  last_error_ = not_understood_ ? file_.KeepOther() : 0;
  if (!last_error_) last_error_ = file_.Write(bytes);
  Wipe(bytes);
  if (!last_error_) not_understood_ = false;
  if (!last_error_) last_error_ = extras_.Save(Jobs);
  return last_error_ == 0;
}

ErrorCode JobStore::SetAside(SharedFile& file, std::u16string_view old_name,
                             std::u16string& kept) const {
  const std::u16string old_path = JoinPath(file_system_.ProgramFolder(), old_name);
  const Result<FileStatus> taken = file_system_.Status(old_path);
  if (taken) {
    // No other program has changed it: the import itself tells what it became.
    const auto tell = std::exchange(
        file.Kept, [&](std::u16string_view, std::u16string_view copy) { kept = copy; });
    const ErrorCode error = file.KeepOther();
    file.Kept = tell;
    return error;
  }
  Result<std::string> bytes = file_system_.ReadWhole(file.Path());
  if (!bytes) return IsNotFound(bytes.Error) ? 0 : bytes.Error;
  const ErrorCode error = file_system_.ReplaceWhole(old_path, *bytes);
  Wipe(*bytes);
  if (!error) kept = old_path;
  return error;
}

Result<std::string> JobStore::ExtrasBeside(std::u16string_view path) const {
  using Extras = Result<std::string>;
  const std::u16string beside = ExtrasFile::PathBeside(path);
  Extras extras = beside.empty() ? Extras::Fail(kErrNotFound) : file_system_.ReadWhole(beside);
  // Half of them would be another guard, another number of states that are kept.
  return !extras || ExtrasFile::IsWhole(*extras) ? std::move(extras)
                                                 : Extras::Fail(kErrExtrasDamaged);
}

int JobStore::CheckImport(std::u16string_view path) const {
  Result<std::string> bytes = file_system_.ReadWhole(path);
  int fault = bytes ? FaultOf(*bytes) : bytes.Error;
  Wipe(*bytes);
  if (!fault) fault = ExtrasBeside(path).Error;
  return IsNotFound(fault) && bytes ? 0 : fault;
}

int JobStore::ImportJobs(std::u16string_view path) {
  Result<std::string> bytes = file_system_.ReadWhole(path);
  if (!bytes) return bytes.Error;
  if (const int fault = FaultOf(*bytes)) return fault;
  Result<std::string> extras = ExtrasBeside(path);
  if (!extras && !IsNotFound(extras.Error)) return extras.Error;
  if (extras) *extras = ExtrasFile::WithoutRuns(*extras);
  const Result<std::string> ours = file_system_.ReadWhole(extras_.Path());
  kept_as_.clear();
  int error = SetAside(file_, kOldStoreName, kept_as_);
  std::u16string kept_extras;
  if (!error) error = SetAside(extras_.File(), kOldExtrasName, kept_extras);
  if (!error && extras) error = extras_.TakeAhead(*extras);
  if (!error) error = file_system_.ReplaceWhole(Path(), *bytes);
  Wipe(*bytes);
  const Result<std::string>& wanted = error ? ours : extras;
  if (wanted) {
    // Where this fails, sections that fit no job are all that stays too much.
    file_system_.ReplaceWhole(extras_.Path(), *wanted);
  } else {
    const ErrorCode removed = file_system_.RemoveFile(extras_.Path());
    if (!error && !IsNotFound(removed)) error = removed;
  }
  if (error) return error;
  LoadJobs();
  return error;
}

int JobStore::ExportJobs(std::u16string_view folder) const {
  const Result<std::string> bytes = file_system_.ReadWhole(Path());
  if (!bytes) return bytes.Error;
  const int error = file_system_.ReplaceWhole(JoinPath(folder, kStoreName), *bytes);
  return error ? error : extras_.CopyTo(folder);
}

std::int32_t JobStore::FindJob(std::u16string_view name) const {
  for (std::size_t i = 0; i < Jobs.size(); ++i) {
    if (IsNamed(Jobs[i], name)) return static_cast<std::int32_t>(i);
  }
  return -1;
}

}  // namespace kavrel
