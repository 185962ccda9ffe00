// How fast a large backup is there to pick files from: picker_bench FOLDER|ARCHIVE, on whatever
// display Qt finds. Prints the time until the dialog is in sight, and until it has searched all.
#include <QApplication>
#include <QLineEdit>
#include <chrono>
#include <ctime>
#include <fstream>
#include <iostream>

#include "archive/seven_zip.h"
#include "base/text.h"
#include "ui/file_picker.h"
#include "ui/frm_restore.h"

namespace kavrel {
namespace {

using std::chrono::steady_clock;

double MillisecondsSince(steady_clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(steady_clock::now() - begin).count();
}

std::string ResidentMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return line.substr(line.find_first_not_of(" \t", 6));
  }
  return "unknown";
}

/// Processor time so far, which others on the machine do not lengthen.
double ProcessorMilliseconds() {
  return 1000.0 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

int Measure(const std::u16string& backup) {
  const FileSystem files(u"/tmp");
  const SevenZipLibrary archiver(files);
  const std::string memory = ResidentMemory();
  const double worked = ProcessorMilliseconds();
  const steady_clock::time_point begin = steady_clock::now();
  std::unique_ptr<BackupBrowser> browser = BrowseFolder(files, backup);
  if (!browser) {
    const auto archive = archiver.SevenZipOpenArchive(backup);
    if (!archive) return 1;
    browser = BrowseArchive(*archive);
  }
  FrmRestore dialog({u"bench", u"/", *browser}, DesktopFilePicker(), nullptr);
  dialog.show();
  for (int i = 0; i < 5; ++i) QApplication::processEvents();
  std::cout << "in sight: " << MillisecondsSince(begin) << " ms, processor "
            << ProcessorMilliseconds() - worked << " ms, memory " << memory << " before, "
            << ResidentMemory() << " then\n";

  // Every name is looked at: none has this in it.
  dialog.findChild<QLineEdit*>(QStringLiteral("txtFind"))->setText(QStringLiteral("<none>"));
  const steady_clock::time_point search = steady_clock::now();
  double longest = 0, most = 0;
  while (MillisecondsSince(search) < 3000) {
    const steady_clock::time_point turn = steady_clock::now();
    const double turned = ProcessorMilliseconds();
    QApplication::processEvents(QEventLoop::AllEvents, 1);
    longest = std::max(longest, MillisecondsSince(turn));
    most = std::max(most, ProcessorMilliseconds() - turned);
  }
  std::cout << "searched: the window was held up for at most " << longest << " ms, processor "
            << most << " ms\n";
  return 0;
}

}  // namespace
}  // namespace kavrel

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "Usage: picker_bench FOLDER|ARCHIVE\n";
    return 2;
  }
  const QApplication app(argc, argv);
  return kavrel::Measure(kavrel::FromUtf8(argv[1]));
}
