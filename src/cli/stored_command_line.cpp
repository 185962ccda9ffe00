#include "base/text.h"
#include "base/translation.h"
#include "cli/command_line.h"
#include "cli/parser.h"

namespace kavrel {

namespace {

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

void AddStoredCommands(CLI::App& app, CommandLine& line) {
  AddRuleCommands(app, line);
  AddFilterCommands(app, line);
  AddDriveCommands(app, line);
  AddTransferCommands(app, line);
  AddSettingCommands(app, line);
}

}  // namespace kavrel
