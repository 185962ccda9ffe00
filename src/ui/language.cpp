#include "ui/language.h"

#include <QApplication>
#include <QFont>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

namespace kavrel {

namespace {

/// The toolkit's own buttons and dialogs.
QTranslator& ToolkitTexts() {
  static auto* texts = new QTranslator;
  return *texts;
}

void SpeakToolkit(std::string_view code) {
  const QString name = QString::fromLatin1(code.data(), static_cast<qsizetype>(code.size()));
  const bool mirrored = code == kMirroredLanguage;
  QLocale::setDefault(QLocale(mirrored || code == kLongLanguage ? QStringLiteral("en") : name));
  QApplication::setLayoutDirection(mirrored ? Qt::RightToLeft : Qt::LeftToRight);
  QTranslator& texts = ToolkitTexts();
  QCoreApplication::removeTranslator(&texts);
  // Installed with the toolkit, or compiled in where no package brings it. Its source is English.
  const QString file = QStringLiteral("qtbase_") + name;
  if (texts.load(file, QLibraryInfo::path(QLibraryInfo::TranslationsPath)) ||
      texts.load(file, QStringLiteral(":/translations"))) {
    QCoreApplication::installTranslator(&texts);
  }
}

/// Where the desktop's font has no Chinese characters, the forms of the language are meant.
void ChooseForms(std::string_view code) {
  const QString family = QApplication::font().family();
  QStringList fonts{QStringLiteral("Noto Sans CJK TC"), QStringLiteral("Microsoft JhengHei UI")};
  if (code == "zh_CN") {
    fonts = {QStringLiteral("Noto Sans CJK SC"), QStringLiteral("Microsoft YaHei UI")};
  } else if (code == "ja") {
    fonts = {QStringLiteral("Noto Sans CJK JP"), QStringLiteral("Yu Gothic UI")};
  }
  QFont::removeSubstitutions(family);
  QFont::insertSubstitutions(family, fonts);
}

}  // namespace

LanguageNotice& LanguageNotice::OfProcess() {
  static auto* notice = new LanguageNotice;
  return *notice;
}

void SpeakLanguage(std::string_view code) {
  SetLanguage(code);
  const std::string_view spoken = CurrentLanguage().Code;
  SpeakToolkit(spoken);
  ChooseForms(spoken);
  Q_EMIT LanguageNotice::OfProcess().Changed();
}

void OnLanguageChange(QObject* owner, std::function<void()> show) {
  QObject::connect(&LanguageNotice::OfProcess(), &LanguageNotice::Changed, owner, std::move(show));
}

void OnLanguage(QObject* owner, std::function<void()> show) {
  show();
  OnLanguageChange(owner, std::move(show));
}

}  // namespace kavrel
