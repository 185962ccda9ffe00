// Text between the windows and everything below them.
#pragma once

#include <QString>
#include <string>
#include <string_view>

#include "base/translation.h"

namespace kavrel {

inline QString ToQString(std::u16string_view text) {
  return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

inline std::u16string FromQString(const QString& text) {
  return text.toStdU16String();
}

/// A text of the source in the user's language.
inline QString TrText(std::u16string_view id) {
  return ToQString(Tr(id));
}

/// A name of a job, a rule or a list of file types, as it is shown.
inline QString NameText(std::u16string_view name) {
  return ToQString(ShownName(name));
}

/// What is kept of a name that was shown in a box: itself, while nobody has typed another.
inline std::u16string TypedName(const QString& text, std::u16string_view kept) {
  return text == NameText(kept) ? std::u16string(kept) : FromQString(text);
}

/// What the core has composed, as it is shown.
inline QString ShownText(std::u16string_view text) {
  return ToQString(Shown(text));
}

}  // namespace kavrel
