// What kavrelctl takes: its commands with their options, and what they held.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "cli/commands.h"

namespace kavrel {

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
  CareChoice Care;
  bool Json = false;
  std::size_t Last = 20, Show = 0, Times = 3;
  int ExitCode = kDone;

  /// A command that opens a session of its own.
  std::function<void()> Run(std::function<int(Session&)> command);

  /// Those of one that lists what has names.
  void AddForms(CLI::App& command);
  ListForm Form() const {
    return Json ? ListForm::Json : NamesOnly ? ListForm::Names : ListForm::Table;
  }

  /// The options of a command that works for a while.
  void AddOutput(CLI::App& command);
};

/// Each adds some of the commands, which call what is in commands.h once they have been parsed.
void AddJobCommands(CLI::App& app, CommandLine& line);
/// What runs jobs, and when.
void AddRunCommands(CLI::App& app, CommandLine& line);
/// What looks into backups, and takes them back.
void AddBackupCommands(CLI::App& app, CommandLine& line);
/// What lies beside the jobs: rules, filters, drives, settings, other stores.
void AddStoredCommands(CLI::App& app, CommandLine& line);

}  // namespace kavrel
