#include "ui/short_text.h"

#include <QRegularExpression>

namespace kavrel {

namespace {

constexpr int kLongestName = 80, kLongestMenuName = 40;

/// Never between the two halves of one character.
qsizetype Before(const QString& text, qsizetype at) {
  return at > 0 && at < text.size() && text[at].isLowSurrogate() ? at - 1 : at;
}

}  // namespace

QString Shortened(const QString& text, int most) {
  if (text.size() <= most) return text;
  const qsizetype head = Before(text, most / 2);
  const qsizetype tail = Before(text, text.size() - (most - 1 - most / 2));
  return text.left(head) + u'…' + text.mid(tail);
}

QString WithShortNames(const QString& text) {
  static const QRegularExpression kLong(
      QStringLiteral(
          // not translated: the quotation marks of all languages
          "(?<=「)[^」]{%1,}(?=」)|(?<=【)[^】]{%1,}(?=】)|(?<=[“„«])[^”“»]{%1,}(?=[”“»])|"
          "[^\\s「」【】“”„«»，。：、]{%1,}")
          .arg(kLongestName + 1));
  QString result;
  qsizetype done = 0;
  for (auto found = kLong.globalMatch(text); found.hasNext();) {
    const QRegularExpressionMatch match = found.next();
    result += QStringView(text).mid(done, match.capturedStart() - done);
    result += Shortened(match.captured(), kLongestName);
    done = match.capturedEnd();
  }
  return result + text.mid(done);
}

QString MenuName(const QString& name) {
  return Shortened(name, kLongestMenuName).replace(u'&', QStringLiteral("&&"));
}

}  // namespace kavrel
