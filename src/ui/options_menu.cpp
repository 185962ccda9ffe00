#include "ui/options_menu.h"

#include <QMessageBox>
#include <QPushButton>
#include <algorithm>

#include "app/spoken_language.h"
#include "engine/rule_check.h"
#include "ui/desktop_open.h"
#include "ui/guide.h"
#include "ui/language.h"
#include "ui/menu_kit.h"
#include "ui/pause_menu.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {

/// Of the menu of languages: the system's, then each.
int ItemOfLanguage(std::string_view code) {
  const std::span<const Language> all = Languages();
  const auto found = std::ranges::find(all, code, &Language::Code);
  return found == all.end() ? 0 : static_cast<int>(found - all.begin()) + 1;
}

}  // namespace

OptionsMenu::OptionsMenu(Program& program, QWidget* window, const ProductAddresses& addresses)
    : QObject(window),
      program_(program),
      window_(window),
      options_(MakeMenu(window, QStringLiteral("MnuSet"))),
      help_(MakeMenu(window, QStringLiteral("mnuHelp"))),
      guide_(new GuideKey(window)),
      pause_(new PauseMenu(program, window)) {
  BuildSwitches();
  options_->addSeparator();
  BuildChoices();
  options_->addSeparator();
  shortcut_ = AddItem(*options_, QStringLiteral("mnuShortcut"), TrLater(u"建立備份排程捷徑"));
  connect(shortcut_, &QAction::triggered, this, &OptionsMenu::ShortcutsWanted);
  options_->setDefaultAction(shortcut_);
  connect(AddItem(*options_, QStringLiteral("mnuDrives"), TrLater(u"Windows 磁碟機對應")),
          &QAction::triggered, this, &OptionsMenu::DrivesWanted);
  BuildHelp(addresses);
}

void OptionsMenu::BuildSwitches() {
  QMenu& menu = *options_;
  start_ = AddItem(menu, QStringLiteral("MnuStart"), TrLater(u"Windows 啟動後自動執行"), true);
  connect(start_, &QAction::triggered, this, [this](bool on) { program_.SetAutostart(on); });
  start_min_ =
      AddItem(menu, QStringLiteral("MnuStartMin"), TrLater(u"程式啟動後隱藏至工作列"), true);
  connect(start_min_, &QAction::triggered, this,
          [this](bool on) { program_.Preferences.SetStartMin(on); });
  sound_ = AddItem(menu, QStringLiteral("mnuSound"), TrLater(u"備份完成後播放背景音樂"), true);
  connect(sound_, &QAction::triggered, this,
          [this](bool on) { program_.Preferences.SetPlaySound(on); });
  menu.addSeparator();
  exclusions_ = AddItem(menu, QStringLiteral("mnuExc"), TrLater(u"新增 / 編輯排除排程"));
  connect(exclusions_, &QAction::triggered, this, &OptionsMenu::ExclusionsWanted);
  exclusions_on_ =
      AddItem(menu, QStringLiteral("mnuExcEnabled"), TrLater(u"啟動檔案 / 資料夾排除"), true);
  connect(exclusions_on_, &QAction::triggered, this, &OptionsMenu::SetExclusions);
}

void OptionsMenu::SetExclusions(bool on) {
  program_.Preferences.SetExcEnabled(on);
  TakeSwitch(program_.Exclusions, program_.Preferences);
  ShowStored();
}

void OptionsMenu::BuildChoices() {
  const auto submenu = [this](const char* name, const char16_t* caption) -> QMenu& {
    QMenu* menu = MakeMenu(window_, QString::fromLatin1(name), caption);
    options_->addMenu(menu);
    return *menu;
  };
  restore_ = AddChoices(
      submenu("mnuRestore", TrLater(u"還原選項")), QStringLiteral("mnuResAll"),
      {TrLater(u"完整還原 -- 僅還原不比對"), TrLater(u"遞增還原 -- 完整還原比對")}, [](int) {});
  compression_ = AddChoices(
      submenu("mnuZipSet", TrLater(u"壓縮方式")), QStringLiteral("mnuZipComp"),
      {TrLater(u"不壓縮(最快)"), TrLater(u"快速壓縮(一般)"), TrLater(u"完整壓縮(最慢)")},
      [this](int index) { program_.Context.Compression = static_cast<CompressionLevel>(index); });
  priority_ =
      AddChoices(submenu("mnuPriority", TrLater(u"備份優先權")), QStringLiteral("mnuSetPriority"),
                 {TrLater(u"即時"), TrLater(u"高"), TrLater(u"標準以上"), TrLater(u"標準"),
                  TrLater(u"標準以下"), TrLater(u"低")},
                 [this](int index) { program_.Preferences.SetProcessPriority(index); });
  BuildLanguages();
  options_->addMenu(pause_->Menu());
  connect(pause_, &PauseMenu::Chosen, this, &OptionsMenu::PauseChosen);
}

void OptionsMenu::BuildLanguages() {
  // Found by whoever cannot read the language that is set.
  QMenu* menu = MakeMenu(window_, QStringLiteral("mnuLanguage"), TrLater(u"語言 (Language)"));
  options_->addMenu(menu);
  // Behind the one for the system's, each by its own name, whatever is spoken.
  language_ = AddChoices(*menu, QStringLiteral("mnuSetLanguage"), {TrLater(u"依系統設定 (System)")},
                         [this](int index) { ChooseLanguage(index); });
  menu->addSeparator();
  for (const Language& language : Languages()) {
    AddChoice(*language_, *menu, ToQString(language.Name));
  }
}

void OptionsMenu::ChooseLanguage(int index) {
  program_.Preferences.SetLanguage(
      index == 0 ? std::string_view() : Languages()[static_cast<std::size_t>(index - 1)].Code);
  SpeakLanguage(SpokenLanguage(program_.Preferences.Language()));
}

void OptionsMenu::BuildHelp(const ProductAddresses& addresses) {
  const auto item = [&](const char* name, const char16_t* caption, std::u16string address) {
    QAction* action = AddItem(*help_, QString::fromLatin1(name), caption);
    // A line that leads nowhere helps nobody.
    action->setVisible(!address.empty());
    connect(action, &QAction::triggered, this,
            [this, address = std::move(address)] { OpenOrTell(*window_, address); });
    return action;
  };
  QAction* guide = AddItem(*help_, QStringLiteral("mnuGuide"), TrLater(u"使用說明\tF1"));
  connect(guide, &QAction::triggered, guide_, &GuideKey::Open);
  help_->addSeparator();
  item("mnuMail", TrLater(u"寫信給我"),
       addresses.Mail.empty() ? addresses.Mail : u"mailto:" + addresses.Mail);
  web_ = item("mnuWeb", TrLater(u"我的網站"), addresses.Web);
  help_->setDefaultAction(web_->isVisible() ? web_ : guide);
  help_->addSeparator();
  connect(AddItem(*help_, QStringLiteral("mnuAbout"), TrLater(u"關於本軟體")), &QAction::triggered,
          this, &OptionsMenu::ShowAbout);
}

void OptionsMenu::ShowAbout() {
  QMessageBox box(window_);
  box.setWindowTitle(TrText(kAppTitle));
  box.setText(TrText(kAppTitle));
  box.setInformativeText(TrText(u"非常方便好用的資料備份工具"));
  box.addButton(QMessageBox::Ok)->setText(TrText(u"確定(&O)"));
  box.exec();
}

void OptionsMenu::ShowSettings() {
  ShowStored();
  CheckItem(*restore_, static_cast<int>(RestoreMode::Full));
  CheckItem(*compression_, static_cast<int>(program_.Context.Compression));
}

void OptionsMenu::ShowStored() {
  const Settings& settings = program_.Preferences;
  start_->setChecked(settings.Autostart());
  start_min_->setChecked(settings.StartMin());
  sound_->setChecked(settings.PlaySound());
  exclusions_on_->setChecked(settings.ExcEnabled());
  exclusions_->setVisible(exclusions_on_->isChecked());
  CheckItem(*priority_, settings.ProcessPriority());
  CheckItem(*language_, ItemOfLanguage(settings.Language()));
}

void OptionsMenu::PopupOptions(QPoint position) {
  // Somebody may have edited the file since.
  ShowStored();
  options_->popup(position);
}

void OptionsMenu::PopupHelp(QPoint position) {
  help_->popup(position);
}

RestoreMode OptionsMenu::Restore() const {
  return static_cast<RestoreMode>(CheckedItem(*restore_));
}

}  // namespace kavrel
