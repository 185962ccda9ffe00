// The colours of list rows and of hints, on light and on dark desktops.
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

/// The colour of the hint in an empty field: the palette's own where it can be read.
QColor PlaceholderColour(const QPalette& palette);
/// Gives the whole program that colour, now and whenever the desktop's colours change.
void KeepPlaceholdersReadable();

}  // namespace kavrel
