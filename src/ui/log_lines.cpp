#include "ui/log_lines.h"

#include <QApplication>
#include <QPixmap>

#include "app/shown_log.h"
#include "log/log_troubles.h"
#include "ui/icons.h"
#include "ui/qt_text.h"
#include "ui/row_colours.h"

namespace kavrel {

LogLines::LogLines(std::u16string text, QObject* parent)
    : QAbstractListModel(parent), text_(std::move(text)), mark_(LoadIcon(IconId::LogEntryFailed)) {
  std::u16string_view rest = text_;
  bool trouble = false;
  while (!rest.empty()) {
    const std::u16string_view line = TakeLine(rest);
    trouble = TellsTrouble(line) || (trouble && TellsReason(line));
    if (trouble) troubles_.push_back(lines_.size());
    lines_.push_back({line, trouble});
  }
  // Lines without a mark begin where the others do.
  QPixmap clear(16, 16);
  clear.fill(Qt::transparent);
  no_mark_ = clear;
}

void LogLines::ShowTroublesOnly(bool on) {
  beginResetModel();
  troubles_only_ = on;
  endResetModel();
}

const LogLines::Line& LogLines::At(int row) const {
  const auto place = static_cast<std::size_t>(row);
  return lines_[troubles_only_ ? troubles_[place] : place];
}

int LogLines::rowCount(const QModelIndex& parent) const {
  if (parent.isValid()) return 0;
  return static_cast<int>(troubles_only_ ? troubles_.size() : lines_.size());
}

QVariant LogLines::data(const QModelIndex& index, int role) const {
  if (!index.isValid()) return {};
  const Line& line = At(index.row());
  switch (role) {
    case Qt::DisplayRole:
      return ToQString(ShownLogLine(line.Text));
    case Qt::ToolTipRole:
      return ToQString(ShownLogLine(line.Text)).toHtmlEscaped();
    case Qt::DecorationRole:
      return line.Trouble ? mark_ : no_mark_;
    case Qt::ForegroundRole:
      return line.Trouble ? QVariant(FailureTextColour(QApplication::palette())) : QVariant();
    default:
      return {};
  }
}

int LogLines::Find(const QString& text, int row) const {
  const int count = rowCount();
  for (int i = 0; i < count && !text.isEmpty(); ++i) {
    const int at = (row + i) % count;
    if (ToQString(ShownLogLine(At(at).Text)).contains(text, Qt::CaseInsensitive)) return at;
  }
  return -1;
}

}  // namespace kavrel
