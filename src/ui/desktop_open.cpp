#include "ui/desktop_open.h"

#include "base/text.h"
#include "platform/desktop.h"
#include "platform/files.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"

namespace kavrel {

void OpenOrTell(QWidget& owner, std::u16string_view target) {
  if (OpenWithDesktop(target)) return;
  TellFailure(owner,
              TrText(u"無法開啟：%1\n找不到可以開啟它的程式（Linux 上請安裝 xdg-utils 套件）。")
                  .arg(ToQString(target)));
}

void OpenPathOrTell(QWidget& owner, const FileSystem& files, std::u16string_view path) {
  const auto host_path = files.HostPath(path);
  if (host_path && files.Status(path)) return OpenOrTell(owner, FromUtf8(*host_path));
  TellFailure(owner, TrText(u"無法開啟，它不存在或無法讀取：%1").arg(ToQString(path)));
}

}  // namespace kavrel
