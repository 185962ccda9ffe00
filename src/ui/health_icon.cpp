#include "ui/health_icon.h"

#include <QPainter>
#include <QPixmap>

#include "ui/icons.h"

namespace kavrel {

namespace {

constexpr int kSizes[] = {16, 20, 22, 24, 32, 48, 64};
// Of the icon's width.
constexpr double kCorner = 0.56, kWhole = 1, kRim = 0.05, kStroke = 0.14;

void DrawSign(QPainter& painter, Health health, const QRectF& mark) {
  const auto at = [&](double x, double y) {
    return QPointF(mark.left() + x * mark.width(), mark.top() + y * mark.height());
  };
  switch (health) {
    case Health::Good:
      painter.drawPolyline(QPolygonF{at(0.27, 0.52), at(0.44, 0.70), at(0.74, 0.32)});
      break;
    case Health::Overdue:
      painter.drawLine(at(0.5, 0.22), at(0.5, 0.55));
      painter.drawLine(at(0.5, 0.77), at(0.5, 0.78));
      break;
    case Health::Running:
      painter.drawPolyline(QPolygonF{at(0.40, 0.28), at(0.68, 0.5), at(0.40, 0.72)});
      break;
    case Health::Paused:
      painter.drawLine(at(0.38, 0.32), at(0.38, 0.68));
      painter.drawLine(at(0.62, 0.32), at(0.62, 0.68));
      break;
    default:
      painter.drawLine(at(0.32, 0.32), at(0.68, 0.68));
      painter.drawLine(at(0.68, 0.32), at(0.32, 0.68));
  }
}

QColor FillColour(Health health) {
  switch (health) {
    case Health::Good:
      return {46, 139, 62};
    case Health::Overdue:
      return {245, 190, 30};
    case Health::Running:
      return {40, 100, 190};
    case Health::Paused:
      return {110, 110, 110};
    default:
      return {205, 40, 30};
  }
}

/// Draws the mark, `share` of the picture wide, into its lower right corner.
QPixmap Draw(QPixmap picture, Health health, int size, double share) {
  QPainter painter(&picture);
  painter.setRenderHint(QPainter::Antialiasing);
  const double width = share * size;
  const QRectF mark(size - width, size - width, width, width);
  painter.setPen(QPen(Qt::white, kRim * size));
  painter.setBrush(FillColour(health));
  const double inset = kRim * size / 2;
  painter.drawEllipse(mark.adjusted(inset, inset, -inset, -inset));
  const QColor sign = health == Health::Overdue ? QColor(60, 40, 0) : QColor(Qt::white);
  painter.setPen(QPen(sign, kStroke * width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  painter.setBrush(Qt::NoBrush);
  DrawSign(painter, health, mark);
  return picture;
}

}  // namespace

QIcon MarkedIcon(const QIcon& plain, Health health) {
  if (health == Health::Unknown) return plain;
  QIcon marked;
  for (const int size : kSizes) {
    marked.addPixmap(Draw(plain.pixmap(QSize(size, size), 1.0), health, size, kCorner));
  }
  return marked;
}

QIcon HealthIcon(Health health) {
  return MarkedIcon(LoadIcon(IconId::Program), health);
}

QIcon HealthSign(Health health) {
  QIcon sign;
  for (const int size : kSizes) {
    QPixmap clear(size, size);
    clear.fill(Qt::transparent);
    sign.addPixmap(Draw(clear, health, size, kWhole));
  }
  return sign;
}

}  // namespace kavrel
