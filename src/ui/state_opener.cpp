#include "ui/state_opener.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "app/dated_copy.h"
#include "files/path.h"
#include "ui/desktop_open.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {

/// Nothing else is begun while a file is copied.
class PaintingPump final : public MessagePump {
 public:
  void PumpMessages() override {
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
  }
};

QString FailureText(std::u16string_view path, const StateCopy& copy) {
  const QString name = ToQString(path);
  if (copy.WrongPassword) {
    return TrText(u"無法開啟「%1」：密碼不正確。還原時可以輸入密碼。").arg(name);
  }
  if (copy.Why.empty()) return TrText(u"無法開啟「%1」。").arg(name);
  return TrText(u"無法開啟「%1」：%2").arg(name, ShownText(copy.Why));
}

}  // namespace

StateOpener::StateOpener(Program& program) : program_(program) {}

StateOpener::~StateOpener() = default;

void StateOpener::Open(QWidget& owner, const BackupJob& job, const JobState& state,
                       std::u16string_view path) {
  if (std::exchange(busy_, true)) return;
  QApplication::setOverrideCursor(Qt::WaitCursor);
  QString why;
  const QString copy = Copy(job, state, path, why);
  QApplication::restoreOverrideCursor();
  busy_ = false;
  if (copy.isEmpty()) return TellFailure(owner, why);
  OpenPathOrTell(owner, program_.Files, FromQString(copy));
}

QString StateOpener::Copy(const BackupJob& job, const JobState& state, std::u16string_view path,
                          QString& why) {
  if (!folder_ || !folder_->isValid()) {
    folder_ = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/kavrel-XXXXXX"));
  }
  // Two files of one name and one date do not meet.
  const QString target = folder_->filePath(QString::number(++made_));
  if (!folder_->isValid() || !QDir().mkdir(target)) {
    why = TrText(u"無法建立暫存資料夾：%1").arg(folder_->errorString());
    return {};
  }
  PaintingPump pump;
  const std::u16string place = FromQString(QDir::toNativeSeparators(target));
  const StateCopy copy =
      CopyOutOfState(program_.Context, pump, job, state.Unit, path, AddBackslash(place));
  const std::u16string made = FileBelow(place, path);
  const Result<FileStatus> status = program_.Files.Status(made);
  // What a link leads to is the user's own file.
  if (!copy.Done || !status || status->Kind != FileKind::File) {
    why = FailureText(path, copy);
    return {};
  }
  const DateTime date = state.Date == kZeroDate ? LocalTime(status->Written) : state.Date;
  const std::u16string name = JoinPath(place, DatedName(RelativeName(path), date));
  const std::u16string& kept = program_.Files.Rename(made, name) == 0 ? name : made;
  QFile::setPermissions(ToQString(kept), QFileDevice::ReadOwner);
  return ToQString(kept);
}

}  // namespace kavrel
