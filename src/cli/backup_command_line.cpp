#include "base/text.h"
#include "base/translation.h"
#include "cli/command_line.h"
#include "cli/console.h"
#include "cli/parser.h"

namespace kavrel {

namespace {

void AddRestore(CLI::App& app, CommandLine& line) {
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
      ->add_flag(
          "--replace-newer", line.Restore.ReplaceNewer,
          Tr("With --only or --to: replace files that are newer than the backup's, or only seem "
             "to be the same, too"))
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
}

void AddVerify(CLI::App& app, CommandLine& line) {
  CLI::App* verify = app.add_subcommand(
      "verify", Tr("Compare jobs' sources with their backups byte by byte, or test archives"));
  verify->add_option("jobs", line.Verify.Names, Tr("Names of the jobs"))->required();
  CLI::Option* tested =
      verify->add_option("--archive", line.Verify.Archive,
                         Tr("Archive of a compressed job, by name or path, else the newest"));
  verify->add_option("--state", line.Verify.State, Tr("Which state, as for restore"))
      ->excludes(tested);
  verify->add_flag("--mend", line.Verify.Mend,
                   Tr("Copy anew what is damaged in the backup, where the source is still what it "
                      "was; the damaged copy is kept in .kavrel-damaged"));
  line.AddOutput(*verify);
  verify->callback(
      line.Run([&line](Session& session) { return VerifyJobs(session, line.Verify); }));
}

void AddCare(CLI::App& app, CommandLine& line) {
  CLI::App* scrub = app.add_subcommand(
      "scrub", Tr("Read backups again and compare every file with its checksum; needs no source"));
  scrub->add_option("jobs", line.Care.Names, Tr("Names of the jobs"));
  CLI::Option* state =
      scrub->add_option("--state", line.Care.State, Tr("Which state, as for restore; else all"));
  scrub
      ->add_flag("--due", line.Care.Due,
                 Tr("Of the jobs with --scrub on, a thirtieth each, once a day: what has not been "
                    "read for longest"))
      ->excludes(state);
  line.AddOutput(*scrub);
  scrub->callback(line.Run([&line](Session& session) { return ScrubJobs(session, line.Care); }));
  CLI::App* drill = app.add_subcommand(
      "drill", Tr("Restore up to 25 files of a backup, taken at random, into a folder of their own "
                  "and compare them with their checksums"));
  drill->add_option("jobs", line.Care.Names, Tr("Names of the jobs"));
  drill->add_flag("--due", line.Care.Due, Tr("Of the jobs with --drill on, once a month"));
  line.AddOutput(*drill);
  drill->callback(line.Run([&line](Session& session) { return DrillJobs(session, line.Care); }));
}

void AddStates(CLI::App& app, CommandLine& line) {
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
}

void AddKeeping(CLI::App& app, CommandLine& line) {
  CLI::App* keep =
      app.add_subcommand("keep", Tr("Which states of a job stay after a run, which go, and why"));
  keep->add_option("job", line.Name, Tr("Name of the job"))->required();
  keep->add_flag("--explain", line.Explain,
                 Tr("Only explain, and change nothing; the same as without this"));
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
}

void AddArchives(CLI::App& app, CommandLine& line) {
  CLI::App* archives = app.add_subcommand("archives", Tr("The archives of a compressed job"));
  archives->add_option("job", line.Name, Tr("Name of the job"))->required();
  line.AddForms(*archives);
  archives->add_option("--list", line.Archive, Tr("List the entries of this archive"))
      ->excludes("--names");
  archives->callback(line.Run([&line](Session& session) {
    return ListJobArchives(session, line.Name, line.Archive, line.Form());
  }));
}

void AddLog(CLI::App& app, CommandLine& line) {
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
}

}  // namespace

void AddBackupCommands(CLI::App& app, CommandLine& line) {
  AddRestore(app, line);
  AddVerify(app, line);
  AddCare(app, line);
  AddStates(app, line);
  AddKeeping(app, line);
  AddArchives(app, line);
  AddLog(app, line);
  CLI::App* expand = app.add_subcommand("expand", Tr("Print a path with its date tags expanded"));
  expand->add_option("path", line.Value, Tr("The path"))->required();
  expand->callback(line.Run([&line](Session& session) { return ExpandPath(session, line.Value); }));
}

}  // namespace kavrel
