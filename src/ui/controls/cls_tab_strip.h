// The tabs of a dialog.
#pragma once

#include <QObject>
#include <QPointer>
#include <QRect>

class QTabWidget;

namespace kavrel {

/// Tabs are numbered from 1 in the order of adding.
class clsTabStrip : public QObject {
  Q_OBJECT

 public:
  explicit clsTabStrip(QObject* parent = nullptr);

  /// The container; the control is created in it at once, filling it.
  void SetPictureBox(QWidget* container);
  QWidget* PictureBox() const { return container_; }
  QWidget* hwnd() const;

  /// Appends a tab, with the page that it shows: an empty one when none is given. Gives its number;
  /// 0 without a container.
  int TabsAdd(const QString& caption, QWidget* page = nullptr);
  int TabsCount() const;
  /// 0 when there is no tab.
  int SelectedItem() const;
  /// Raises no Click.
  void SetSelectedItem(int tab);
  void SetTabEnabled(int tab, bool enabled);
  void SetAccessibleName(const QString& name);

  int Left() const;
  int Top() const;
  int Width() const;
  /// The area inside the tabs, in the container's coordinates.
  int ClientLeft() const { return Client().left(); }
  int ClientTop() const { return Client().top(); }
  int ClientWidth() const { return Client().width(); }
  int ClientHeight() const { return Client().height(); }

 Q_SIGNALS:
  /// The user chose another tab.
  void Click();

 private:
  QRect Client() const;

  QPointer<QWidget> container_;
  QPointer<QTabWidget> tabs_;
  bool by_program_ = false;
};

}  // namespace kavrel
