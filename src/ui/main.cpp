// kavrel: Kavrel with its window. `kavrel [--home DIR] [--debug FILE] [--versions FILE] [JOB...]`:
// the named jobs are run once, and the program ends.
#include <QApplication>
#include <QMessageBox>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "app/out_of_memory.h"
#include "app/spoken_language.h"
#include "base/text.h"
#include "core/command_line.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/process.h"
#include "platform/trace.h"
#include "ui/frm_main.h"
#include "ui/icons.h"
#include "ui/language.h"
#include "ui/message_box.h"
#include "ui/other_start.h"
#include "ui/qt_text.h"
#include "ui/row_colours.h"

namespace kavrel {
namespace {

// For the process that has the folder, in milliseconds.
constexpr std::uint32_t kPatience = 5000, kRetry = 100;

constexpr const char* kUsage = TrLater(
    "Usage: kavrel [--home DIR] [--debug FILE] [--versions FILE] [--] [JOB...]\n"
    "Opens the window; with --versions, also the earlier versions of that file. With names of "
    "jobs, "
    "runs these once and ends; what stands behind -- is a name.\n");

struct Arguments {
  std::u16string Home, Debug;
  std::optional<std::u16string> Versions;
  std::vector<std::u16string> Jobs;
  bool Help = false, Version = false, Wrong = false;
};

/// Reads `--name VALUE` or `--name=VALUE`; false when the word at `i` is another one.
bool ReadValue(std::string_view name, int argc, const char* const* argv, int& i,
               std::u16string& value) {
  const std::string_view word = argv[i];
  if (word == name && i + 1 < argc) {
    value = FromUtf8(argv[++i]);
  } else if (word.starts_with(name) && word.substr(name.size()).starts_with('=')) {
    value = FromUtf8(word.substr(name.size() + 1));
  } else {
    return false;
  }
  return true;
}

Arguments ReadArguments(int argc, const char* const* argv) {
  Arguments read;
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (!word.starts_with("--")) {
      read.Jobs.push_back(FromUtf8(word));
    } else if (ReadValue("--home", argc, argv, i, read.Home) ||
               ReadValue("--debug", argc, argv, i, read.Debug)) {
      continue;
    } else if (std::u16string file; ReadValue("--versions", argc, argv, i, file)) {
      read.Versions = file;
    } else if (word == "--help") {
      read.Help = true;
    } else if (word == "--version") {
      read.Version = true;
    } else {
      read.Wrong = true;
    }
  }
  return read;
}

/// Says why the program cannot begin, and in a box, too, unless jobs were named: nobody may be
/// there then to close it. The exit code.
int Refuse(const Arguments& arguments, const QString& reason) {
  std::cerr << "kavrel: " << reason.toStdString() << '\n';
  if (!arguments.Jobs.empty()) return 2;
  QMessageBox box(QMessageBox::Critical, TrText(kAppTitle), reason, QMessageBox::Ok);
  box.setWindowIcon(LoadIcon(IconId::Program));
  ShowPlainly(box);
  box.exec();
  return 2;
}

/// Takes the program folder for this process. Where another one has it, that gets what this one
/// was to do; gives the exit code of a process that is to end.
std::optional<int> EndAsSecond(Program& program, const std::u16string& folder,
                               const Arguments& arguments) {
  const OtherStart start{arguments.Jobs, qgetenv("XDG_ACTIVATION_TOKEN").toStdString(),
                         arguments.Versions.value_or(u"")};
  std::u16string holder;
  int nobody = 0;
  SystemClock clock;
  const std::uint64_t end = clock.TickCount() + kPatience;
  for (std::uint64_t now = clock.TickCount(); now < end; now = clock.TickCount()) {
    if (program.Lock(u"kavrel")) return std::nullopt;
    holder = ProcessLock::Holder(folder);
    // They may have gone in between; a second refusal is the disk's.
    if (holder.empty() && ++nobody > 1) break;
    LetOthersComeForward();
    std::vector<std::u16string> missing;
    if (HandOver(StartAddress(folder), start, missing, static_cast<int>(end - now)) ==
        HandedOver::Yes) {
      for (const std::u16string& name : missing) {
        std::cerr << "kavrel: " << ToUtf8(Fill(Tr(u"找不到排程「%1」"), {name})) << '\n';
      }
      return missing.empty() ? kDone : kNoSuchJob;
    }
    // One that has only begun, or is about to end, does not listen.
    clock.Sleep(kRetry);
  }
  if (holder.empty()) {
    return Refuse(arguments,
                  TrText(u"無法開啟程式資料夾中的鎖定檔 Kavrel.lock，請檢查資料夾的權限。\n") +
                      ToQString(folder));
  }
  const QString reason = TrText(u"程式資料夾正由 %1 使用").arg(ToQString(holder));
  return Refuse(arguments,
                reason + (arguments.Jobs.empty() ? TrText(u"。") : TrText(u"，排程沒有執行。")));
}

/// Takes "--" and what stands behind it off: names of jobs, whatever they look like. Neither this
/// program nor the toolkit reads them as options.
std::vector<std::u16string> TakeNames(std::vector<std::string>& words) {
  const auto end = std::find(words.begin(), words.end(), "--");
  std::vector<std::u16string> names;
  for (auto word = end; word != words.end(); ++word) {
    if (word != end) names.push_back(FromUtf8(*word));
  }
  words.erase(end, words.end());
  return names;
}

int Run(std::vector<std::string> words) {
  KeepMemoryOutOfDumps();
  const std::vector<std::u16string> names = TakeNames(words);
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& word : words) argv.push_back(word.data());
  int argc = static_cast<int>(argv.size());
  argv.push_back(nullptr);
  Arguments arguments = ReadArguments(argc, argv.data());
  const std::string_view language = SpokenLanguage(StoredLanguage(arguments.Home));
  SetLanguage(language);
  if (arguments.Help || arguments.Version) {
    std::cout << (arguments.Help ? Tr(kUsage) : "kavrel " KAVREL_VERSION "\n");
    return 0;
  }
  QApplication app(argc, argv.data());
  // The toolkit has taken its own options away.
  arguments = ReadArguments(argc, argv.data());
  arguments.Jobs.insert(arguments.Jobs.end(), names.begin(), names.end());
  if (arguments.Versions && (arguments.Versions->empty() || !arguments.Jobs.empty())) {
    arguments.Wrong = true;
  }
  // The process is to move to another folder.
  if (arguments.Versions) arguments.Versions = AbsolutePath(*arguments.Versions);
  if (arguments.Wrong) {
    std::cerr << Tr(kUsage);
    return 2;
  }
  if (const ErrorCode error = StartTrace(arguments.Debug)) {
    std::cerr << "kavrel: "
              << Fill(Tr("no trace can be written: %1"), {ToUtf8(SystemErrorText(error))}) << '\n';
    return 2;
  }
  SpeakLanguage(language);
  KeepPlaceholdersReadable();
  const std::optional<std::u16string> folder = ProgramFolder(arguments.Home);
  if (!folder) {
    const QString home =
        arguments.Home.empty() ? qEnvironmentVariable("KAVREL_HOME") : ToQString(arguments.Home);
    return Refuse(arguments, TrText(u"無法建立程式資料夾。\n") + home);
  }
  SystemClock clock;
  FrmMain window;
  Program program(*folder, SettingsFile(arguments.Home), clock, window);
  if (const std::optional<int> code = EndAsSecond(program, *folder, arguments)) return *code;
  StartListener listener([&window](const OtherStart& start) { return window.TakeStart(start); });
  listener.Listen(StartAddress(*folder));
  RaiseOpenFileLimit();
  WatchForInterrupt();
  QApplication::setQuitOnLastWindowClosed(false);
  QObject::connect(&window, &FrmMain::Ended, &app, [&listener] {
    listener.Close();
    QCoreApplication::exit(0);
  });
  window.Start(program, JoinArguments(arguments.Jobs));
  if (arguments.Versions && !window.HasEnded()) window.WantVersions(*arguments.Versions);
  const int code = window.HasEnded() ? 0 : QApplication::exec();
  for (const std::u16string& trouble : program.RunsByName().Troubles()) {
    std::cerr << "kavrel: " << ToUtf8(Shown(trouble)) << '\n';
  }
  return code != 0 ? code : program.RunsByName().Code();
}

/// What is made before main begins needs memory, too.
[[gnu::constructor(101)]] void BeforeAll() {
  EndWhenOutOfMemory(EXIT_FAILURE);
}

}  // namespace
}  // namespace kavrel

int main(int argc, char** argv) {
  kavrel::SecureStreams();
  return kavrel::Run(kavrel::ConsoleArguments(argc, argv));
}
