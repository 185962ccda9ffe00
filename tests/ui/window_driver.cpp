#include "ui/window_driver.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QDir>
#include <QHelpEvent>
#include <QInputMethodEvent>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QStyleOptionViewItem>
#include <QTest>
#include <QTimer>
#include <QToolTip>

namespace kavrel {

namespace {

constexpr int kPatienceMs = 10000;

/// Looks for a widget whenever events are handled, and hands the first one over.
void WhenUp(std::function<QWidget*()> look, std::function<void(QWidget&)> answer) {
  auto* timer = new QTimer(qApp);
  QObject::connect(timer, &QTimer::timeout, timer,
                   [timer, look = std::move(look), answer = std::move(answer)] {
                     QWidget* found = look();
                     if (found == nullptr || !found->isVisible()) return;
                     timer->stop();
                     timer->deleteLater();
                     answer(*found);
                   });
  timer->start(5);
}

}  // namespace

void ShowAndWait(QWidget& window) {
  window.show();
  window.activateWindow();
  (void)QTest::qWaitForWindowActive(&window, kPatienceMs);
}

QString PlainCaption(const QString& caption) {
  static const QRegularExpression kMnemonic(QStringLiteral(R"(\(&\w\)|&|(\.\.\.)$)"));
  return QString(caption).remove(kMnemonic);
}

QAction* FindAction(const QMenu& menu, const QString& plain_caption) {
  for (QAction* action : menu.actions()) {
    if (!action->isSeparator() && PlainCaption(action->text()) == plain_caption) return action;
    if (action->menu() == nullptr) continue;
    if (QAction* found = FindAction(*action->menu(), plain_caption)) return found;
  }
  return nullptr;
}

void Click(QWidget& widget, QPoint position) {
  QTest::mouseClick(&widget, Qt::LeftButton, {}, position);
}

void DoubleClick(QWidget& widget, QPoint position) {
  QTest::mouseClick(&widget, Qt::LeftButton, {}, position);
  QTest::mouseDClick(&widget, Qt::LeftButton, {}, position);
}

void RightClick(QWidget& widget, QPoint position) {
  QTest::mouseClick(&widget, Qt::RightButton, {}, position);
  QContextMenuEvent event(QContextMenuEvent::Mouse, position, widget.mapToGlobal(position));
  QApplication::sendEvent(&widget, &event);
}

void Press(QWidget& widget, Qt::Key key, Qt::KeyboardModifiers modifiers) {
  QTest::keyClick(&widget, key, modifiers);
}

void Drag(QWidget& widget, QPoint from, QPoint to) {
  constexpr int kSteps = 8;
  QTest::mousePress(&widget, Qt::LeftButton, {}, from);
  for (int step = 1; step <= kSteps; ++step) {
    const QPoint at = from + (to - from) * step / kSteps;
    // QTest::mouseMove leaves out that a button is down.
    QMouseEvent move(QEvent::MouseMove, at, widget.mapToGlobal(at), Qt::NoButton, Qt::LeftButton,
                     {});
    QApplication::sendEvent(&widget, &move);
  }
  QTest::mouseRelease(&widget, Qt::LeftButton, {}, to);
}

void Type(QWidget& widget, const QString& text) {
  QInputMethodEvent event;
  event.setCommitString(text);
  QApplication::sendEvent(&widget, &event);
}

QString TipAt(QWidget& widget, QPoint position) {
  // A tip that goes lingers for a while; an earlier one is not to be taken for this one.
  for (QWidget* other : QApplication::topLevelWidgets()) {
    if (other->inherits("QTipLabel")) delete other;
  }
  QHelpEvent event(QEvent::ToolTip, position, widget.mapToGlobal(position));
  QApplication::sendEvent(&widget, &event);
  return QToolTip::isVisible() ? QToolTip::text() : QString();
}

QAbstractItemView& ViewOf(const QWidget& list) {
  for (auto* view : list.findChildren<QAbstractItemView*>()) {
    if (view->isVisibleTo(&list) && view->model() != nullptr && !view->inherits("QHeaderView"))
      return *view;
  }
  qFatal("no view in this list");
}

QPoint CellCentre(const QWidget& list, int shown_row, int column) {
  const QAbstractItemView& view = ViewOf(list);
  return view.visualRect(view.model()->index(shown_row, column)).center();
}

QPoint CheckBoxCentre(const QWidget& list, int shown_row) {
  const QAbstractItemView& view = ViewOf(list);
  const QModelIndex index = view.model()->index(shown_row, 0);
  QStyleOptionViewItem option;
  option.initFrom(&view);
  option.widget = &view;
  option.rect = view.visualRect(index);
  option.features = QStyleOptionViewItem::HasCheckIndicator | QStyleOptionViewItem::HasDisplay;
  option.text = index.data().toString();
  return view.style()
      ->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, &view)
      .center();
}

bool WaitUntil(const std::function<bool()>& condition) {
  return QTest::qWaitFor(condition, kPatienceMs);
}

void WhenDialog(std::function<void(QWidget&)> answer) {
  WhenUp([] { return QApplication::activeModalWidget(); }, std::move(answer));
}

void WhenMenu(std::function<void(QMenu&)> answer) {
  WhenUp([] { return qobject_cast<QMenu*>(QApplication::activePopupWidget()); },
         [answer = std::move(answer)](QWidget& menu) { answer(static_cast<QMenu&>(menu)); });
}

QString MessageOf(const std::function<void()>& act, const QString& answer) {
  QString text;
  WhenDialog([&](QWidget& dialog) {
    text = dynamic_cast<QMessageBox&>(dialog).text();
    for (auto* button : dialog.findChildren<QPushButton*>()) {
      if (PlainCaption(button->text()) == answer) button->click();
    }
  });
  act();
  return text;
}

QImage Shot(QWidget& widget, const QString& name) {
  const QImage picture = widget.grab().toImage();
  const QString folder = qEnvironmentVariable("KAVREL_SHOTS");
  if (!folder.isEmpty()) picture.save(QDir(folder).filePath(name + QStringLiteral(".png")));
  return picture;
}

}  // namespace kavrel
