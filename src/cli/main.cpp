// kavrelctl: Kavrel without a window.
#include <CLI/CLI.hpp>

#include "cli/commands.h"

namespace {

constexpr const char* kExitCodes =
    "Exit codes:\n"
    "  0  everything done\n"
    "  1  done, but some files failed\n"
    "  2  usage or bad input\n"
    "  3  no such job\n"
    "  4  interrupted\n"
    "  5  the source folder is missing\n";

}  // namespace

int main(int argc, char** argv) {
  using namespace kavrel;
  CLI::App app("Kavrel backs up folders into other folders on a schedule.", "kavrelctl");
  app.footer(kExitCodes);
  app.require_subcommand(1);
  app.fallthrough();

  std::string home, name;
  JobOptions options;
  std::vector<std::string> names;
  bool json = false;
  std::size_t last = 20, show = 0;
  int code = kDone;
  const auto run = [&](auto command) {
    return [&, command] {
      Session session(home);
      code = command(session);
    };
  };

  app.add_option("--home", home, "Program folder (same as KAVREL_HOME)");
  CLI::App* add = app.add_subcommand("add", "Make a job");
  options.AddTo(*add);
  add->get_option("--name")->required();
  add->get_option("--source")->required();
  add->callback(run([&](Session& session) { return AddJob(session, options); }));

  CLI::App* edit = app.add_subcommand("edit", "Change what is named of a job");
  edit->add_option("job", name, "Name of the job")->required();
  options.AddTo(*edit);
  edit->callback(run([&](Session& session) { return EditJob(session, name, options); }));

  CLI::App* remove = app.add_subcommand("remove", "Remove a job");
  remove->add_option("job", name, "Name of the job")->required();
  remove->callback(run([&](Session& session) { return RemoveJob(session, name); }));

  CLI::App* list = app.add_subcommand("list", "List the jobs");
  list->add_flag("--json", json, "Print JSON");
  list->callback(run([&](Session& session) { return ListJobs(session, json); }));

  CLI::App* show_job = app.add_subcommand("show", "Show a job");
  show_job->add_option("job", name, "Name of the job")->required();
  show_job->add_flag("--json", json, "Print JSON");
  show_job->callback(run([&](Session& session) { return ShowJob(session, name, json); }));

  CLI::App* run_jobs = app.add_subcommand("run", "Run jobs now, in the order given");
  run_jobs->add_option("jobs", names, "Names of the jobs")->required();
  run_jobs->callback(run([&](Session& session) { return RunJobs(session, names); }));

  CLI::App* log = app.add_subcommand("log", "Show the program log, or the log of one run");
  log->add_option("--last", last, "How many runs, 20 without this option");
  log->add_flag("--json", json, "Print JSON");
  const auto show_option = log->add_option("--show", show, "Print the log of the K-th newest run");
  log->callback(run([&](Session& session) {
    return *show_option ? ShowLog(session, show) : ListLog(session, last, json);
  }));

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kBadInput;
  }
  return code;
}
