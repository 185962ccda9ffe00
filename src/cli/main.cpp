// kavrelctl: Kavrel without a window.
#include "app/out_of_memory.h"
#include "app/spoken_language.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/command_line.h"
#include "cli/console.h"
#include "cli/parser.h"
#include "platform/process.h"

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
  AddBackupCommands(app, line);
  AddStoredCommands(app, line);
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
