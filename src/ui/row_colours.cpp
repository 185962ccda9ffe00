#include "ui/row_colours.h"

#include <QApplication>
#include <QEvent>
#include <cmath>

namespace kavrel {

namespace {

constexpr double kReadable = 4.5;

double Luminance(const QColor& colour) {
  const auto linear = [](double part) {
    return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
         0.0722 * linear(colour.blueF());
}

double Contrast(const QColor& one, const QColor& other) {
  const double a = Luminance(one), b = Luminance(other);
  return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

/// `over` at that share, on `ground`.
QColor Blend(const QColor& over, const QColor& ground, double share) {
  const auto mix = [share](float a, float b) {
    return static_cast<float>(a * share + b * (1 - share));
  };
  return QColor::fromRgbF(mix(over.redF(), ground.redF()), mix(over.greenF(), ground.greenF()),
                          mix(over.blueF(), ground.blueF()));
}

class PaletteWatch final : public QObject {
 public:
  using QObject::QObject;
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::ApplicationPaletteChange) Apply();
    return false;
  }
  static void Apply() {
    QPalette palette = QApplication::palette();
    const QColor colour = PlaceholderColour(palette);
    if (palette.color(QPalette::Active, QPalette::PlaceholderText) == colour) return;
    palette.setColor(QPalette::PlaceholderText, colour);
    QApplication::setPalette(palette);
  }
};

}  // namespace

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

QColor PlaceholderColour(const QPalette& palette) {
  const QColor ground = palette.color(QPalette::Active, QPalette::Base);
  const QColor text = palette.color(QPalette::Active, QPalette::Text);
  const QColor own = palette.color(QPalette::Active, QPalette::PlaceholderText);
  if (Contrast(Blend(own, ground, own.alphaF()), ground) >= kReadable) return own;
  constexpr double kStep = 0.05;
  for (double share = 0.6; share < 1; share += kStep) {
    const QColor hint = Blend(text, ground, share);
    if (Contrast(hint, ground) >= kReadable) return hint;
  }
  return text;
}

void KeepPlaceholdersReadable() {
  PaletteWatch::Apply();
  static const bool kWatching = [] {
    qApp->installEventFilter(new PaletteWatch(qApp));
    return true;
  }();
  (void)kWatching;
}

}  // namespace kavrel
