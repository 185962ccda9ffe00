// kavrelctl: Kavrel without a window.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>

#include "app/out_of_memory.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "platform/process.h"
#include "platform/trace.h"

namespace kavrel {
namespace {

static_assert(kAppTitle.find(u"" KAVREL_VERSION) != kAppTitle.npos, "two versions");

constexpr const char* kExitCodes =
    "Exit codes:\n"
    "  0  everything done\n"
    "  1  done, but some files failed or differ, or the job store or the output could not be\n"
    "     written\n"
    "  2  usage or bad input\n"
    "  3  no such job\n"
    "  4  interrupted\n"
    "  5  the source folder is missing\n"
    "  6  a guard stopped it: too much would go, a disk is not there, or it is another job's\n"
    "  7  the copies do not fit on the destination\n";

/// What the command line held, and what came of it.
struct CommandLine {
  std::string Home, Debug, Name, Value, Patterns, Archive, Span;
  bool Latest = false, NamesOnly = false, Failed = false, Rules = false, Force = false;
  RestoreChoice Restore;
  JobOptions Options;
  RuleOptions Rule;
  RunChoice Choice;
  std::vector<std::size_t> Numbers;
  bool Json = false;
  std::size_t Last = 20, Show = 0, Times = 3;
  int ExitCode = kDone;

  /// A command that opens a session of its own.
  std::function<void()> Run(std::function<int(Session&)> command) {
    return [this, command = std::move(command)] {
      if (const ErrorCode error = StartTrace(FromUtf8(Debug))) {
        PrintError("no trace can be written: " + ToUtf8(SystemErrorText(error)));
        ExitCode = kBadInput;
        return;
      }
      Session session(Home);
      ExitCode = command(session);
    };
  }
};

void AddJobCommands(CLI::App& app, CommandLine& line) {
  CLI::App* add = app.add_subcommand("add", "Make a job");
  line.Options.AddTo(*add);
  add->get_option("--name")->required();
  add->get_option("--source")->required();
  add->callback(line.Run([&line](Session& session) { return AddJob(session, line.Options); }));

  CLI::App* edit = app.add_subcommand("edit", "Change what is named of a job");
  edit->add_option("job", line.Name, "Name of the job")->required();
  line.Options.AddTo(*edit);
  edit->callback(
      line.Run([&line](Session& session) { return EditJob(session, line.Name, line.Options); }));

  CLI::App* remove = app.add_subcommand("remove", "Remove a job");
  remove->add_option("job", line.Name, "Name of the job")->required();
  remove->callback(line.Run([&line](Session& session) { return DeleteJob(session, line.Name); }));

  CLI::App* list = app.add_subcommand("list", "List the jobs with their next runs");
  CLI::Option* json = list->add_flag("--json", line.Json, "Print JSON");
  list->add_flag("--names", line.NamesOnly, "Print their names alone, one a line")->excludes(json);
  list->callback(line.Run([&line](Session& session) {
    return line.NamesOnly ? ListJobNames(session) : ListJobs(session, line.Json);
  }));

  CLI::App* show = app.add_subcommand("show", "Show a job");
  show->add_option("job", line.Name, "Name of the job")->required();
  show->add_flag("--json", line.Json, "Print JSON");
  show->callback(
      line.Run([&line](Session& session) { return ShowJob(session, line.Name, line.Json); }));
}

void AddRunCommands(CLI::App& app, CommandLine& line) {
  CLI::App* run = app.add_subcommand("run", "Run jobs now, in the order given");
  run->add_option("jobs", line.Choice.Names, "Names of the jobs");
  run->add_flag("--all", line.Choice.All, "All jobs that are switched on");
  run->add_flag("--due", line.Choice.Due, "Those of them that are due");
  run->add_option("--compression", line.Choice.Compression,
                  "store, fast or full, for compressed jobs");
  run->add_flag(
      "--force", line.Choice.Force,
      "Do not let the mirror guard, another job's backup or a lack of space stop the runs");
  run->callback(line.Run([&line](Session& session) { return RunJobs(session, line.Choice); }));

  CLI::App* preview = app.add_subcommand("preview", "Show what a run of a job would do");
  preview->add_option("job", line.Name, "Name of the job")->required();
  preview->add_flag("--json", line.Json, "Print JSON");
  preview->callback(
      line.Run([&line](Session& session) { return PrintPreview(session, line.Name, line.Json); }));

  app.add_subcommand("watch", "Run jobs as they become due, until interrupted")
      ->callback(line.Run(WatchJobs));

  CLI::App* next = app.add_subcommand("next", "When each job runs next, and why not now");
  next->add_option("--times", line.Times, "How many times of each job, 3 without this option")
      ->check(CLI::Range(1, 1000));
  next->add_flag("--json", line.Json, "Print JSON");
  next->callback(
      line.Run([&line](Session& session) { return ListNextRuns(session, line.Times, line.Json); }));

  CLI::App* pause = app.add_subcommand("pause", "Let nothing run by itself for a while");
  CLI::Option* span = pause->add_option("--for", line.Span, "How long: 30m, 2h, 1d, 1w");
  pause->add_option("--until", line.Value, "Until when, as 18:00 or \"2026/11/24 08:00\"")
      ->excludes(span);
  pause->callback(line.Run(
      [&line](Session& session) { return PauseSchedule(session, line.Span, line.Value); }));
  app.add_subcommand("resume", "End a pause")->callback(line.Run(ResumeSchedule));

  CLI::App* restore = app.add_subcommand("restore", "Copy a job's backup back onto its source");
  restore->add_option("job", line.Name, "Name of the job")->required();
  CLI::Option* mode = restore->add_option("--mode", line.Restore.Mode,
                                          "full, or incremental to leave equal files alone");
  restore
      ->add_option("--only", line.Restore.Only,
                   "Files and folders of the backup, and nothing else; equal files stay")
      ->excludes(mode);
  restore->add_option("--to", line.Restore.To, "Another folder than the source")->excludes(mode);
  restore
      ->add_flag("--replace-newer", line.Restore.ReplaceNewer,
                 "With --only or --to: replace files that are newer than the backup's, too")
      ->excludes(mode);
  CLI::Option* archive = restore->add_option("--archive", line.Restore.Archive,
                                             "Archive of a compressed job to restore");
  restore->add_flag("--force", line.Restore.Force,
                    "Restore even where a disk is not there, and what another job has made");
  restore->add_flag("--dry-run", line.Restore.DryRun,
                    "Only show what the restore would do; nothing is written");
  restore->add_flag("--json", line.Restore.Json, "With --dry-run: print JSON");
  restore->add_flag("--latest", line.Latest, "The newest archive (default)")->excludes(archive);
  restore->callback(
      line.Run([&line](Session& session) { return RestoreJob(session, line.Name, line.Restore); }));

  CLI::App* verify = app.add_subcommand(
      "verify", "Compare a job's source with its backup byte by byte, or test an archive");
  verify->add_option("job", line.Name, "Name of the job")->required();
  verify->add_option("--archive", line.Archive, "Archive of a compressed job, else the newest");
  verify->callback(
      line.Run([&line](Session& session) { return VerifyJob(session, line.Name, line.Archive); }));

  CLI::App* archives = app.add_subcommand("archives", "The archives of a compressed job");
  archives->add_option("job", line.Name, "Name of the job")->required();
  archives->add_option("--list", line.Archive, "List the entries of this archive");
  archives->add_flag("--json", line.Json, "Print JSON");
  archives->callback(line.Run([&line](Session& session) {
    return ListJobArchives(session, line.Name, line.Archive, line.Json);
  }));

  CLI::App* log = app.add_subcommand("log", "Show the program log, or the log of one run");
  log->add_option("--last", line.Last, "How many runs, 20 without this option");
  log->add_option("--job", line.Name, "Only runs of this job");
  log->add_flag("--failed", line.Failed, "Only runs with failures, or interrupted");
  log->add_option("--text", line.Value, "Only runs with this text in a column");
  log->add_flag("--json", line.Json, "Print JSON");
  const CLI::Option* show =
      log->add_option("--show", line.Show, "Print the log of the K-th newest run");
  log->callback(line.Run([&line, show](Session& session) {
    const LogFilter filter{FromUtf8(line.Name), line.Failed, FromUtf8(line.Value)};
    return *show ? ShowLog(session, line.Show) : ListLog(session, line.Last, filter, line.Json);
  }));

  CLI::App* expand = app.add_subcommand("expand", "Print a path with its date tags expanded");
  expand->add_option("path", line.Value, "The path")->required();
  expand->callback(line.Run([&line](Session& session) { return ExpandPath(session, line.Value); }));
}

void AddRuleCommands(CLI::App& app, CommandLine& line) {
  CLI::App* rules = app.add_subcommand("rules", "Exclusion rules of all jobs");
  rules->require_subcommand(1);
  CLI::App* list = rules->add_subcommand("list", "List the rules");
  list->add_flag("--json", line.Json, "Print JSON");
  list->callback(line.Run([&line](Session& session) { return ListRules(session, line.Json); }));

  CLI::App* add = rules->add_subcommand("add", "Add a rule");
  add->add_option("--name", line.Rule.Name, "Name of the rule")->required();
  add->add_option("--drive", line.Rule.Drive, "Drive, server or mount point pattern");
  add->add_option("--folder", line.Rule.Folder, "Folder pattern, as \\Recycler\\ or Temp\\");
  add->add_option("--file", line.Rule.File, "File-name pattern");
  add->add_flag("--disabled", line.Rule.Disabled, "Leave the rule switched off");
  add->callback(line.Run([&line](Session& session) { return AddRule(session, line.Rule); }));

  const auto add_change = [&](const char* word, const char* help, RuleChange change) {
    CLI::App* command = rules->add_subcommand(word, help);
    command->add_option("numbers", line.Numbers, "Numbers of the rules in the list")->required();
    command->callback(line.Run(
        [&line, change](Session& session) { return ChangeRules(session, change, line.Numbers); }));
  };
  add_change("remove", "Remove rules", RuleChange::Remove);
  add_change("enable", "Switch rules on", RuleChange::Enable);
  add_change("disable", "Switch rules off", RuleChange::Disable);
  rules->add_subcommand("reset", "Restore the built-in rules")->callback(line.Run(ResetRules));
}

void AddFilterCommands(CLI::App& app, CommandLine& line) {
  CLI::App* filters = app.add_subcommand("filters", "Named lists of file types");
  filters->require_subcommand(1);
  CLI::App* list = filters->add_subcommand("list", "List the filters");
  list->add_flag("--json", line.Json, "Print JSON");
  list->callback(line.Run([&line](Session& session) { return ListFilters(session, line.Json); }));

  CLI::App* add = filters->add_subcommand("add", "Add a filter");
  add->add_option("name", line.Name, "Name of the filter")->required();
  add->add_option("patterns", line.Patterns, "Patterns, as \"*.doc;*.xls\"")->required();
  add->callback(
      line.Run([&line](Session& session) { return AddFilter(session, line.Name, line.Patterns); }));

  CLI::App* remove = filters->add_subcommand("remove", "Remove a filter");
  remove->add_option("name", line.Name, "Name of the filter")->required();
  remove->callback(
      line.Run([&line](Session& session) { return RemoveFilter(session, line.Name); }));
}

void AddDriveCommands(CLI::App& app, CommandLine& line) {
  CLI::App* drives = app.add_subcommand("drives", "Where the drives of Windows paths lead");
  drives->require_subcommand(1);
  CLI::App* list = drives->add_subcommand("list", "List the drives that jobs and rules name");
  list->add_flag("--json", line.Json, "Print JSON");
  list->callback(line.Run([&line](Session& session) { return ListDrives(session, line.Json); }));

  const auto add_drive = [&line](CLI::App* command) {
    command->add_option("drive", line.Name, "A drive, as C:, or a share, as \\\\server\\share")
        ->required();
  };
  CLI::App* set = drives->add_subcommand("set", "Let a drive lead to a folder");
  add_drive(set);
  set->add_option("folder", line.Value, "The folder")->required();
  set->callback(
      line.Run([&line](Session& session) { return SetDrive(session, line.Name, line.Value); }));
  CLI::App* remove = drives->add_subcommand("remove", "Let a drive lead nowhere");
  add_drive(remove);
  remove->callback(line.Run([&line](Session& session) { return RemoveDrive(session, line.Name); }));
}

void AddTransferCommands(CLI::App& app, CommandLine& line) {
  CLI::App* import = app.add_subcommand("import", "Take the jobs of another store");
  import->add_option("from", line.Value, "The file, or the folder that holds its Backup.rtm")
      ->required();
  import->add_flag("--rules", line.Rules,
                   "Take the exclusion rules and file types beside it as well");
  import->callback(line.Run(
      [&line](Session& session) { return ImportJobs(session, line.Value, line.Rules);
}));

CLI::App* output = app.add_subcommand("export", "Copy jobs, rules and file types into a folder");
output->add_option("folder", line.Value, "The folder")->required();
output->add_flag("--force", line.Force, "Replace what is there");
output->callback(line.Run([&line](Session& session) {
  return ExportJobs(session, line.Value, line.Force);
}));
}  // namespace

void AddSettingCommands(CLI::App& app, CommandLine& line) {
  CLI::App* settings = app.add_subcommand("settings", "The stored settings");
  settings->require_subcommand(1);
  CLI::App* get = settings->add_subcommand("get", "Print a setting, or all");
  get->add_option("name", line.Name, "Name of the setting");
  get->callback(line.Run([&line](Session& session) { return GetSettings(session, line.Name); }));

  CLI::App* set = settings->add_subcommand("set", "Change a setting");
  set->add_option("name", line.Name, "Name of the setting")->required();
  set->add_option("value", line.Value, "Its new value")->required();
  set->callback(
      line.Run([&line](Session& session) { return SetSetting(session, line.Name, line.Value); }));
}

}  // namespace kavrel
/// The parser takes a name in brackets for a list of names. No argument can hold this; behind one
/// it makes the brackets letters like any others.
constexpr char kNoList = '\0';

/// The arguments as the parser wants them: without the program, the last one first.
std::vector<std::string> ForParser(const std::vector<std::string>& arguments) {
  std::vector<std::string> words(
      arguments.begin() + std::min<std::ptrdiff_t>(1, std::ssize(arguments)), arguments.end());
  for (std::string& word : words) {
    if (word.ends_with(']')) word += kNoList;
  }
  std::reverse(words.begin(), words.end());
  return words;
}

void TakeAsTheyStand(CLI::App& app) {
  for (CLI::Option* option : app.get_options()) {
    option->transform([](std::string value) {
      if (value.ends_with(kNoList)) value.pop_back();
      return value;
    });
  }
  for (CLI::App* command : app.get_subcommands({})) TakeAsTheyStand(*command);
}

}  // namespace kavrel

int main(int argc, char** argv) {
  using namespace kavrel;
  SecureStreams();
  KeepMemoryOutOfDumps();
  EndWhenOutOfMemory(kInterrupted);
  CLI::App app("Kavrel backs up folders into other folders on a schedule.", "kavrelctl");
  app.footer(kExitCodes);
  app.require_subcommand(1);
  app.fallthrough();
  app.set_version_flag("--version", "kavrelctl " KAVREL_VERSION);
  CommandLine line;
  app.add_option("--home", line.Home, "Program folder (same as KAVREL_HOME)");
  app.add_option("--debug", line.Debug,
                 "Write into this file what is decided and done (same as KAVREL_DEBUG)");
  AddJobCommands(app, line);
  AddRunCommands(app, line);
  AddRuleCommands(app, line);
  AddFilterCommands(app, line);
  AddDriveCommands(app, line);
  AddTransferCommands(app, line);
  AddSettingCommands(app, line);
  TakeAsTheyStand(app);
  try {
    const std::vector<std::string> arguments = ConsoleArguments(argc, argv);
    std::vector<std::string> words = ForParser(arguments);
    app.parse(words);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kBadInput;
  }
  if (FinishOutput()) return line.ExitCode;
  PrintError("standard output could not be written");
  return line.ExitCode == kDone ? kSomeFailed : line.ExitCode;
}
