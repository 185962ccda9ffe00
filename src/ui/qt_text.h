// The program's text as Qt's, and back.
#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace kavrel {

inline QString ToQt(std::u16string_view text) {
  return QStringView(text).toString();
}

inline std::u16string FromQt(const QString& text) {
  return text.toStdU16String();
}

}  // namespace kavrel
