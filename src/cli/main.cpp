// kavrelctl: Kavrel without a window.
#include <functional>

#include "app/out_of_memory.h"
#include "app/spoken_language.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/parser.h"
#include "platform/process.h"
#include "platform/trace.h"

namespace kavrel {
namespace {

static_assert(kAppTitle.find(u"" KAVREL_VERSION) != kAppTitle.npos, "two versions");

constexpr const char* kExitCodes = TrLater(
    "Exit codes:\n"
    "  0  everything done\n"
    "  1  done, but some files failed or differ, or the job store or the output could not be\n"
    "     written\n"
    "  2  usage or bad input\n"
    "  3  no such job\n"
    "  4  interrupted\n"
    "  5  the source folder is missing\n"
    "  6  a guard stopped it: too much would go, a disk is not there, or it is another job's\n"
    "  7  the copies do not fit on the destination\n"
    "  8  another program has the program folder\n"
    "  9  no archive program is installed\n"
    "  10 there is no place to write to: the destination cannot be made\n");

/// What the command line held, and what came of it.
struct CommandLine {
  std::string Home, Debug, Language, Name, Value, Patterns, Archive, State, Span, Progress;
  std::vector<std::string> Names;
  std::uint32_t Wait = Session::kPatience;
  bool Explain = false;  ///< keep does nothing else
  bool NamesOnly = false, Failed = false, Rules = false, Force = false;
  OutputChoice Output;
  RestoreChoice Restore;
  JobOptions Options;
  RuleOptions Rule;
  RunChoice Choice;
  StatusChoice Status;
  VerifyChoice Verify;
  bool Json = false;
  std::size_t Last = 20, Show = 0, Times = 3;
  int ExitCode = kDone;

  /// A command that opens a session of its own.
  std::function<void()> Run(std::function<int(Session&)> command) {
    return [this, command = std::move(command)] {
      if (const ErrorCode error = StartTrace(FromUtf8(Debug))) {
        PrintError(Fill(Tr("no trace can be written: %1"), {ToUtf8(SystemErrorText(error))}));
        ExitCode = kBadInput;
        return;
      }
      if (Progress == "json") {
        Output.Progress = ProgressMode::Json;
        Output.Json = true;
      } else if (Progress == "none") {
        Output.Progress = ProgressMode::None;
      }
      Choice.Output = Restore.Output = Verify.Output = Output;
      Session session(Home, Wait);
      ExitCode = command(session);
    };
  }

  /// Those of one that lists what has names.
  void AddForms(CLI::App& command) {
    CLI::Option* json = command.add_flag("--json", Json, Tr("Print JSON"));
    command.add_flag("--names", NamesOnly, Tr("Print their names alone, one a line"))
        ->excludes(json);
  }
  ListForm Form() const {
    return Json ? ListForm::Json : NamesOnly ? ListForm::Names : ListForm::Table;
  }

  /// The options of a command that works for a while.
  void AddOutput(CLI::App& command) {
    CLI::Option* json = command.add_flag("--json", Output.Json, Tr("Print JSON"));
    CLI::Option* quiet =
        command.add_flag("-q,--quiet", Output.Quiet, Tr("Print only what is wrong"));
    command
        .add_flag("-v,--verbose", Output.Verbose,
                  Tr("Name each file, as preview does, or each difference"))
        ->excludes(quiet)
        ->excludes(json);
    command
        .add_option(
            "--progress", Progress,
            Tr("auto (on a terminal), none, or json: an object a line, the result the last"))
        ->check(OneOf({"auto", "none", "json"}));
  }
};

void AddJobCommands(CLI::App& app, CommandLine& line) {
  CLI::App* add = app.add_subcommand("add", Tr("Make a job"));
  line.Options.AddTo(*add);
  add->get_option("--name")->required();
  add->get_option("--source")->required();
  add->callback(line.Run([&line](Session& session) { return AddJob(session, line.Options); }));

  CLI::App* edit = app.add_subcommand("edit", Tr("Change what is named of a job"));
  edit->add_option("job", line.Name, Tr("Name of the job"))->required();
  line.Options.AddTo(*edit);
  edit->callback(
      line.Run([&line](Session& session) { return EditJob(session, line.Name, line.Options); }));

  CLI::App* remove = app.add_subcommand("remove", Tr("Remove jobs"));
  remove->add_option("jobs", line.Names, Tr("Names of the jobs"))->required();
  remove->callback(line.Run([&line](Session& session) { return DeleteJobs(session, line.Names); }));

  CLI::App* list = app.add_subcommand("list", Tr("List the jobs with their next runs"));
  line.AddForms(*list);
  list->callback(line.Run([&line](Session& session) {
    return line.NamesOnly ? ListJobNames(session) : ListJobs(session, line.Json);
  }));

  CLI::App* show = app.add_subcommand("show", Tr("Show jobs"));
  show->add_option("jobs", line.Names, Tr("Names of the jobs"))->required();
  show->add_flag("--json", line.Json, Tr("Print JSON"));
  show->callback(
      line.Run([&line](Session& session) { return ShowJobs(session, line.Names, line.Json); }));
}

void AddRunCommands(CLI::App& app, CommandLine& line) {
  CLI::App* run = app.add_subcommand("run", Tr("Run jobs now, in the order given"));
  run->add_option("jobs", line.Choice.Names, Tr("Names of the jobs"));
  run->add_flag("--all", line.Choice.All, Tr("All jobs that are switched on"));
  run->add_flag("--due", line.Choice.Due, Tr("Those of them that are due"));
  run->add_option("--compression", line.Choice.Compression,
                  Tr("store, fast or full, for compressed jobs"));
  run->add_flag(
      "--force", line.Choice.Force,
      Tr("Do not let the mirror guard, another job's backup or a lack of space stop the runs"));
  line.AddOutput(*run);
  run->callback(line.Run([&line](Session& session) { return RunJobs(session, line.Choice); }));

  CLI::App* status =
      app.add_subcommand("status", Tr("Whether the backups are well, and since when"));
  status->add_option("jobs", line.Status.Names, Tr("Names of the jobs, else all"));
  status->add_option(
      "--max-age", line.Status.MaxAge,
      Tr("The last good backup may be so old, as 26h or 2d; older ones are overdue"));
  status->add_flag("-q,--quiet", line.Status.Quiet, Tr("Only the jobs that are not well"));
  status->add_flag("--json", line.Status.Json, Tr("Print JSON"));
  status->footer(
      Tr("Exit codes of status:\n"
         "  0  all of these jobs are well\n"
         "  1  not all are: one is overdue, failed or has never run\n"
         "  2  usage or bad input, or the job store cannot be read\n"
         "  3  no such job\n"));
  status->callback(
      line.Run([&line](Session& session) { return PrintStatus(session, line.Status); }));

  CLI::App* preview = app.add_subcommand("preview", Tr("Show what a run of a job would do"));
  preview->add_option("job", line.Name, Tr("Name of the job"))->required();
  preview->add_flag("--json", line.Json, Tr("Print JSON"));
  preview->callback(
      line.Run([&line](Session& session) { return PrintPreview(session, line.Name, line.Json); }));

  app.add_subcommand("watch", Tr("Run jobs as they become due, until interrupted"))
      ->callback(line.Run(WatchJobs));

  CLI::App* next = app.add_subcommand("next", Tr("When each job runs next, and why not now"));
  next->add_option("jobs", line.Names, Tr("Names of the jobs, else all"));
  next->add_option("--times", line.Times, Tr("How many times of each job, 3 without this option"))
      ->check(Within(1, 1000));
  next->add_flag("--json", line.Json, Tr("Print JSON"));
  next->callback(line.Run([&line](Session& session) {
    return ListNextRuns(session, line.Names, line.Times, line.Json);
  }));

  CLI::App* pause = app.add_subcommand("pause", Tr("Let nothing run by itself for a while"));
  CLI::Option* span = pause->add_option("--for", line.Span, Tr("How long: 30m, 2h, 1d, 1w"));
  pause->add_option("--until", line.Value, Tr("Until when, as 18:00 or \"2026/11/24 08:00\""))
      ->excludes(span);
  pause->callback(line.Run(
      [&line](Session& session) { return PauseSchedule(session, line.Span, line.Value); }));
  app.add_subcommand("resume", Tr("End a pause"))->callback(line.Run(ResumeSchedule));

  CLI::App* restore = app.add_subcommand("restore", Tr("Copy a job's backup back onto its source"));
  restore->add_option("job", line.Name, Tr("Name of the job"))->required();
  CLI::Option* mode = restore->add_option("--mode", line.Restore.Mode,
                                          Tr("full, or incremental to leave equal files alone"));
  restore
      ->add_option("--only", line.Restore.Only,
                   Tr("Files and folders of the backup, and nothing else; equal files stay"))
      ->excludes(mode);
  restore->add_option("--to", line.Restore.To, Tr("Another folder than the source"))
      ->excludes(mode);
  restore
      ->add_flag("--replace-newer", line.Restore.ReplaceNewer,
                 Tr("With --only or --to: replace files that are newer than the backup's, too"))
      ->excludes(mode);
  CLI::Option* archive =
      restore->add_option("--archive", line.Restore.Archive,
                          Tr("Archive of a compressed job to restore, by name or path"));
  restore
      ->add_option(
          "--state", line.Restore.State,
          Tr("Which state: its date or the beginning of it, its number in the list, latest"))
      ->excludes(archive);
  restore->add_flag("--force", line.Restore.Force,
                    Tr("Restore even where a disk is not there, and what another job has made"));
  restore->add_flag("--dry-run", line.Restore.DryRun,
                    Tr("Only show what the restore would do; nothing is written"));
  line.AddOutput(*restore);
  restore->add_flag("--latest", line.Restore.Latest, Tr("The newest archive (default)"))
      ->excludes(archive);
  restore->callback(
      line.Run([&line](Session& session) { return RestoreJob(session, line.Name, line.Restore); }));

  CLI::App* verify = app.add_subcommand(
      "verify", Tr("Compare jobs' sources with their backups byte by byte, or test archives"));
  verify->add_option("jobs", line.Verify.Names, Tr("Names of the jobs"))->required();
  CLI::Option* tested =
      verify->add_option("--archive", line.Verify.Archive,
                         Tr("Archive of a compressed job, by name or path, else the newest"));
  verify->add_option("--state", line.Verify.State, Tr("Which state, as for restore"))
      ->excludes(tested);
  line.AddOutput(*verify);
  verify->callback(
      line.Run([&line](Session& session) { return VerifyJobs(session, line.Verify); }));

  CLI::App* states =
      app.add_subcommand("states", Tr("The states of a job: its dated folders and archives"));
  states->add_option("job", line.Name, Tr("Name of the job"))->required();
  line.AddForms(*states);
  states->callback(line.Run(
      [&line](Session& session) { return ListJobStates(session, line.Name, line.Form()); }));
  CLI::App* versions =
      app.add_subcommand("versions", Tr("The versions of one file over all states of a job"));
  versions->add_option("job", line.Name, Tr("Name of the job"))->required();
  versions->add_option("path", line.Value, Tr("The file, below the backup or the source"))
      ->required();
  versions->add_flag("--json", line.Json, Tr("Print JSON"));
  versions->callback(line.Run([&line](Session& session) {
    return ListVersions(session, line.Name, line.Value, line.Json);
  }));
  CLI::App* diff =
      app.add_subcommand("diff", Tr("What changed from one state of a job to another"));
  diff->add_option("job", line.Name, Tr("Name of the job"))->required();
  diff->add_option("from", line.State, Tr("The earlier state, as for restore --state"))->required();
  diff->add_option("to", line.Value, Tr("The later state"))->required();
  diff->add_flag("--json", line.Json, Tr("Print JSON"));
  diff->callback(line.Run([&line](Session& session) {
    return CompareJobStates(session, line.Name, line.State, line.Value, line.Json);
  }));

  CLI::App* keep =
      app.add_subcommand("keep", Tr("Which states of a job stay after a run, which go, and why"));
  keep->add_option("job", line.Name, Tr("Name of the job"))->required();
  keep->add_flag("--explain", line.Explain, Tr("Say so, and change nothing: as without it"));
  keep->add_flag("--json", line.Json, Tr("Print JSON"));
  keep->callback(line.Run(
      [&line](Session& session) { return ExplainKeeping(session, line.Name, line.Json); }));
  const auto add_pin = [&](const char* word, const char* help, bool pinned) {
    CLI::App* command = app.add_subcommand(word, help);
    command->add_option("job", line.Name, Tr("Name of the job"))->required();
    command->add_option("state", line.State, Tr("Which state, as for restore"))->required();
    command->callback(line.Run([&line, pinned](Session& session) {
      return PinJobState(session, line.Name, line.State, pinned);
    }));
  };
  add_pin("pin", Tr("Keep a state whatever the job keeps"), true);
  add_pin("unpin", Tr("Let a pinned state go in its turn"), false);

  CLI::App* archives = app.add_subcommand("archives", Tr("The archives of a compressed job"));
  archives->add_option("job", line.Name, Tr("Name of the job"))->required();
  line.AddForms(*archives);
  archives->add_option("--list", line.Archive, Tr("List the entries of this archive"))
      ->excludes("--names");
  archives->callback(line.Run([&line](Session& session) {
    return ListJobArchives(session, line.Name, line.Archive, line.Form());
  }));

  CLI::App* log = app.add_subcommand("log", Tr("Show the program log, or the log of one run"));
  log->add_option("--last", line.Last, Tr("How many runs, 20 without this option"))
      ->check(Within(0, INT32_MAX));
  log->add_option("--job", line.Name, Tr("Only runs of this job"));
  log->add_flag("--failed", line.Failed, Tr("Only runs with failures, or interrupted"));
  log->add_option("--text", line.Value, Tr("Only runs with this text in a column"));
  log->add_flag("--json", line.Json, Tr("Print JSON"));
  const CLI::Option* show =
      log->add_option("--show", line.Show, Tr("Print the log of the K-th newest run"));
  log->callback(line.Run([&line, show, log](Session& session) {
    for (const char* of_list : {"--last", "--job", "--failed", "--text", "--json"}) {
      if (!*show || log->count(of_list) == 0) continue;
      PrintError(Fill(Tr("%1 does not go with %2"), {"--show", of_list}));
      return static_cast<int>(kBadInput);
    }
    const LogFilter filter{FromUtf8(line.Name), line.Failed, FromUtf8(line.Value)};
    return *show ? ShowLog(session, line.Show) : ListLog(session, line.Last, filter, line.Json);
  }));

  CLI::App* expand = app.add_subcommand("expand", Tr("Print a path with its date tags expanded"));
  expand->add_option("path", line.Value, Tr("The path"))->required();
  expand->callback(line.Run([&line](Session& session) { return ExpandPath(session, line.Value); }));
}

void AddRuleCommands(CLI::App& app, CommandLine& line) {
  CLI::App* rules = app.add_subcommand("rules", Tr("Exclusion rules of all jobs"));
  rules->require_subcommand(1);
  CLI::App* list = rules->add_subcommand("list", Tr("List the rules"));
  line.AddForms(*list);
  list->callback(line.Run([&line](Session& session) { return ListRules(session, line.Form()); }));

  CLI::App* add = rules->add_subcommand("add", Tr("Add a rule"));
  add->add_option("--name", line.Rule.Name, Tr("Name of the rule"))->required();
  add->add_option("--drive", line.Rule.Drive, Tr("Drive, server or mount point pattern"));
  add->add_option("--folder", line.Rule.Folder, Tr("Folder pattern, as \\Recycler\\ or Temp\\"));
  add->add_option("--file", line.Rule.File, Tr("File-name pattern"));
  add->add_flag("--disabled", line.Rule.Disabled, Tr("Leave the rule switched off"));
  add->callback(line.Run([&line](Session& session) { return AddRule(session, line.Rule); }));

  const auto add_change = [&](const char* word, const char* help, RuleChange change) {
    CLI::App* command = rules->add_subcommand(word, help);
    command->add_option("rules", line.Names, Tr("Names of the rules, or their numbers in the list"))
        ->required();
    command->callback(line.Run(
        [&line, change](Session& session) { return ChangeRules(session, change, line.Names); }));
  };
  add_change("remove", Tr("Remove rules"), RuleChange::Remove);
  add_change("enable", Tr("Switch rules on"), RuleChange::Enable);
  add_change("disable", Tr("Switch rules off"), RuleChange::Disable);
  rules->add_subcommand("reset", Tr("Restore the built-in rules"))->callback(line.Run(ResetRules));
}

void AddFilterCommands(CLI::App& app, CommandLine& line) {
  CLI::App* filters = app.add_subcommand("filters", Tr("Named lists of file types"));
  filters->require_subcommand(1);
  CLI::App* list = filters->add_subcommand("list", Tr("List the filters"));
  line.AddForms(*list);
  list->callback(line.Run([&line](Session& session) { return ListFilters(session, line.Form()); }));

  CLI::App* add = filters->add_subcommand("add", Tr("Add a filter"));
  add->add_option("name", line.Name, Tr("Name of the filter"))->required();
  add->add_option("patterns", line.Patterns, Tr("Patterns, as \"*.doc;*.xls\""))->required();
  add->callback(
      line.Run([&line](Session& session) { return AddFilter(session, line.Name, line.Patterns); }));

  CLI::App* remove = filters->add_subcommand("remove", Tr("Remove filters"));
  remove->add_option("names", line.Names, Tr("Names of the filters"))->required();
  remove->callback(
      line.Run([&line](Session& session) { return RemoveFilters(session, line.Names); }));
}

void AddDriveCommands(CLI::App& app, CommandLine& line) {
  CLI::App* drives = app.add_subcommand("drives", Tr("Where the drives of Windows paths lead"));
  drives->require_subcommand(1);
  CLI::App* list = drives->add_subcommand("list", Tr("List the drives that jobs and rules name"));
  list->add_flag("--json", line.Json, Tr("Print JSON"));
  list->callback(line.Run([&line](Session& session) { return ListDrives(session, line.Json); }));

  const auto add_drive = [&line](CLI::App* command) {
    command->add_option("drive", line.Name, Tr("A drive, as C:, or a share, as \\\\server\\share"))
        ->required();
  };
  CLI::App* set = drives->add_subcommand("set", Tr("Let a drive lead to a folder"));
  add_drive(set);
  set->add_option("folder", line.Value, Tr("The folder"))->required();
  set->callback(
      line.Run([&line](Session& session) { return SetDrive(session, line.Name, line.Value); }));
  CLI::App* remove = drives->add_subcommand("remove", Tr("Let a drive lead nowhere"));
  add_drive(remove);
  remove->callback(line.Run([&line](Session& session) { return RemoveDrive(session, line.Name); }));
}

void AddTransferCommands(CLI::App& app, CommandLine& line) {
  CLI::App* import = app.add_subcommand("import", Tr("Take the jobs of another store"));
  import->add_option("from", line.Value, Tr("The file, or the folder that holds its Backup.rtm"))
      ->required();
  import->add_flag("--rules", line.Rules,
                   Tr("Take the exclusion rules and file types beside it as well"));
  import->callback(line.Run(
      [&line](Session& session) { return ImportJobs(session, line.Value, line.Rules);
}));

CLI::App* output =
    app.add_subcommand("export", Tr("Copy jobs, rules and file types into a folder"));
output->add_option("folder", line.Value, Tr("The folder"))->required();
output->add_flag("--force", line.Force, Tr("Replace what is there"));
output->callback(line.Run([&line](Session& session) {
  return ExportJobs(session, line.Value, line.Force);
}));
}  // namespace

void AddSettingCommands(CLI::App& app, CommandLine& line) {
  CLI::App* settings = app.add_subcommand("settings", Tr("The stored settings"));
  settings->require_subcommand(1);
  CLI::App* get = settings->add_subcommand("get", Tr("Print a setting, or all"));
  get->add_option("name", line.Name, Tr("Name of the setting"));
  get->add_flag("--json", line.Json, Tr("Print JSON"));
  get->callback(
      line.Run([&line](Session& session) { return GetSettings(session, line.Name, line.Json); }));

  CLI::App* set = settings->add_subcommand("set", Tr("Change a setting"));
  set->add_option("name", line.Name, Tr("Name of the setting"))->required();
  set->add_option("value", line.Value, Tr("Its new value"))->required();
  set->callback(
      line.Run([&line](Session& session) { return SetSetting(session, line.Name, line.Value); }));
}

}  // namespace kavrel
/// The value of an option that has to be known before the parser speaks; empty when it is not
/// given.
std::string ValueOf(const std::vector<std::string>& given, const std::string& option) {
  for (std::size_t i = 1; i < given.size() && given[i] != "--"; ++i) {
    if (given[i] == option && i + 1 < given.size()) return given[i + 1];
    if (given[i].starts_with(option + "=")) return given[i].substr(option.size() + 1);
  }
  return {};
}

void Speak(const std::vector<std::string>& given) {
  std::string chosen = ValueOf(given, "--lang");
  if (!FindLanguage(chosen)) chosen = StoredLanguage(FromUtf8(ValueOf(given, "--home")));
  SetLanguage(SpokenLanguage(chosen));
}

namespace {

/// What is made before main begins needs memory, too.
[[gnu::constructor(101)]] void BeforeAll() {
  EndWhenOutOfMemory(kInterrupted);
}

}  // namespace
}  // namespace kavrel

int main(int argc, char** argv) {
  using namespace kavrel;
  SecureStreams();
  KeepMemoryOutOfDumps();
  const std::vector<std::string> given = ConsoleArguments(argc, argv);
  Speak(given);
  CLI::App app(Tr("Kavrel backs up folders into other folders on a schedule."), "kavrelctl");
  app.footer(Tr(kExitCodes));
  app.require_subcommand(1);
  app.fallthrough();
  app.set_help_flag("-h,--help", Tr("Print this help message and exit"));
  app.set_version_flag("--version", "kavrelctl " KAVREL_VERSION,
                       Tr("Display program version information and exit"));
  CommandLine line;
  app.add_option("--home", line.Home, Tr("Program folder (same as KAVREL_HOME)"));
  app.add_option("--debug", line.Debug,
                 Tr("Write into this file what is decided and done (same as KAVREL_DEBUG)"));
  app.add_option("--wait", line.Wait, Tr("Seconds to wait for the program folder, 2 without this"))
      ->check(Within(0, 86400));
  app.add_option("--lang", line.Language, Tr("Language of what is printed, as en or zh_TW"))
      ->check([](const std::string& code) {
        return FindLanguage(code) ? std::string() : Fill(Tr("no such language: %1"), {code});
      });
  AddJobCommands(app, line);
  AddRunCommands(app, line);
  AddRuleCommands(app, line);
  AddFilterCommands(app, line);
  AddDriveCommands(app, line);
  AddTransferCommands(app, line);
  AddSettingCommands(app, line);
  FinishParser(app);
  try {
    std::vector<std::string> words = ForParser(given);
    app.parse(words);
  } catch (const CLI::ParseError& error) {
    line.ExitCode = kBadInput;
    // Help and the version come as such, too.
    if (error.get_exit_code() == 0) {
      line.ExitCode = app.exit(error);
    } else {
      TellRefused(app, error, given);
    }
  }
  if (FinishOutput()) return line.ExitCode;
  PrintError(Tr("standard output could not be written"));
  return line.ExitCode == kDone ? kSomeFailed : line.ExitCode;
}
