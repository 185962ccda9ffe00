#include "ui/health_icon.h"

#include <QPainter>
#include <QPixmap>

#include "ui/icons.h"

namespace kavrel {

namespace {

constexpr int kSizes[] = {16, 20, 22, 24, 32, 48, 64};
// Of the icon's width.
constexpr double kMark = 0.56, kRim = 0.05, kStroke = 0.14;

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
    default:
      painter.drawLine(at(0.32, 0.32), at(0.68, 0.68));
      painter.drawLine(at(0.68, 0.32), at(0.32, 0.68));
  }
}

QPixmap Draw(const QIcon& icon, Health health, int size) {
  QPixmap picture = icon.pixmap(QSize(size, size), 1.0);
  QPainter painter(&picture);
  painter.setRenderHint(QPainter::Antialiasing);
  const double width = kMark * size;
  const QRectF mark(size - width, size - width, width, width);
  const QColor fill = health == Health::Good      ? QColor(46, 139, 62)
                      : health == Health::Overdue ? QColor(245, 190, 30)
                                                  : QColor(205, 40, 30);
  painter.setPen(QPen(Qt::white, kRim * size));
  painter.setBrush(fill);
  const double inset = kRim * size / 2;
  painter.drawEllipse(mark.adjusted(inset, inset, -inset, -inset));
  const QColor sign = health == Health::Overdue ? QColor(60, 40, 0) : QColor(Qt::white);
  painter.setPen(QPen(sign, kStroke * width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  painter.setBrush(Qt::NoBrush);
  DrawSign(painter, health, mark);
  return picture;
}

}  // namespace

QIcon HealthIcon(Health health) {
  const QIcon plain = LoadIcon(IconId::Program);
  if (health == Health::Unknown) return plain;
  QIcon marked;
  for (const int size : kSizes) marked.addPixmap(Draw(plain, health, size));
  return marked;
}

}  // namespace kavrel
