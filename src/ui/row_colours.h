// The colours of list rows, on light and on dark desktops.
#pragma once

#include <QColor>
#include <QPalette>

namespace kavrel {

bool IsDark(const QPalette& palette);

/// Alternating rows: every other one, the second first, is tinted.
void AlternateRowColours(int shown_position, const QPalette& palette, QColor& background,
                         QColor& text);

/// The text colour of a row that tells of failures, readable on both of the above.
QColor FailureTextColour(const QPalette& palette);

}  // namespace kavrel
