#include "ui/row_colours.h"

namespace kavrel {

bool IsDark(const QPalette& palette) {
  return palette.color(QPalette::Active, QPalette::Base).lightnessF() <
         palette.color(QPalette::Active, QPalette::Text).lightnessF();
}

void AlternateRowColours(int shown_position, const QPalette& palette, QColor& background,
                         QColor& text) {
  const bool dark = IsDark(palette);
  if (shown_position % 2 != 0) {
    background = dark ? QColor(38, 50, 68) : QColor(238, 244, 254);
    text = dark ? QColor(158, 197, 255) : QColor(21, 75, 160);
  } else {
    background = dark ? palette.color(QPalette::Active, QPalette::Base) : QColor(250, 250, 253);
    text = palette.color(QPalette::Active, QPalette::ButtonText);
  }
}

QColor FailureTextColour(const QPalette& palette) {
  return IsDark(palette) ? QColor(255, 138, 128) : QColor(179, 38, 30);
}

}  // namespace kavrel
