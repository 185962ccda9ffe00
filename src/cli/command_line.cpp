#include "cli/command_line.h"

#include "base/text.h"
#include "base/translation.h"
#include "cli/console.h"
#include "cli/parser.h"
#include "platform/trace.h"

namespace kavrel {

std::function<void()> CommandLine::Run(std::function<int(Session&)> command) {
  return [this, command = std::move(command)] {
    if (const ErrorCode error = StartTrace(FromUtf8(Debug))) {
      PrintError(Fill(Tr("no trace can be written: %1"), {ToUtf8(SystemErrorText(error))}));
      ExitCode = kBadInput;
      return;
    }
    if (Progress == "json" && Output.Verbose) {
      PrintError(Fill(Tr("%1 does not go with %2"), {"--verbose", "--progress json"}));
      ExitCode = kBadInput;
      return;
    }
    if (Progress == "json") {
      Output.Progress = ProgressMode::Json;
      Output.Json = true;
    } else if (Progress == "none") {
      Output.Progress = ProgressMode::None;
    }
    Choice.Output = Restore.Output = Verify.Output = Care.Output = Output;
    Session session(Home, Wait);
    ExitCode = command(session);
  };
}

void CommandLine::AddForms(CLI::App& command) {
  CLI::Option* json = command.add_flag("--json", Json, Tr("Print JSON"));
  command.add_flag("--names", NamesOnly, Tr("Print their names alone, one a line"))->excludes(json);
}

void CommandLine::AddOutput(CLI::App& command) {
  CLI::Option* json = command.add_flag("--json", Output.Json, Tr("Print JSON"));
  CLI::Option* quiet = command.add_flag("-q,--quiet", Output.Quiet, Tr("Print only what is wrong"));
  command
      .add_flag("-v,--verbose", Output.Verbose,
                Tr("Name each file, as preview does, or each difference"))
      ->excludes(quiet)
      ->excludes(json);
  command
      .add_option("--progress", Progress,
                  Tr("auto (on a terminal), none, or json: an object a line, the result the last"))
      ->check(OneOf({"auto", "none", "json"}));
}

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

namespace {

void AddRunning(CLI::App& app, CommandLine& line) {
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
      Tr("How old the last good backup may be, as 26h or 2d; older ones are overdue"));
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
}

void AddTimes(CLI::App& app, CommandLine& line) {
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
}

}  // namespace

void AddRunCommands(CLI::App& app, CommandLine& line) {
  AddRunning(app, line);
  AddTimes(app, line);
}

}  // namespace kavrel
