// Names and paths of any length in places of limited width.
#pragma once

#include <QString>

namespace kavrel {

/// At most `most` characters: what is longer loses its middle, for beginning and end tell most.
QString Shortened(const QString& text, int most = 60);

/// A text in which every quoted name (「…」 or 【…】) and every unbroken run of letters is
/// shortened.
QString WithShortNames(const QString& text);

/// A name as a menu shows it: shortened, its "&" no mnemonic.
QString MenuName(const QString& name);

}  // namespace kavrel
