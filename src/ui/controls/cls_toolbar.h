// The bar of large buttons at the top of a window.
#pragma once

#include <QIcon>
#include <QList>
#include <QObject>
#include <QPointer>

#include "ui/controls/window_subclasser.h"

class QAction;
class QToolBar;
class QToolButton;

namespace kavrel {

/// Buttons are numbered from 1 in the order of adding, separators included. An index that does not
/// exist reads as empty or false, and is ignored when written.
class clsToolbar : public QObject, private SubclassOwner {
  Q_OBJECT

 public:
  enum ButtonStyle { PlainButton = 0, Separator = 1, CheckButton = 2, WholeDropDown = 128 };

  explicit clsToolbar(QObject* parent = nullptr);

  void SetTargetPictureBox(QWidget* container) { container_ = container; }
  QWidget* TargetPictureBox() const { return container_; }
  /// Creates the control in the container. Flat buttons have no frame until they are pointed at;
  /// with `list` captions stand right of the icons, else below; `divider` draws a line below the
  /// bar.
  void Initialize(int icon_size = 32, bool flat = true, bool list = false, bool divider = false);
  QWidget* hwnd() const;

  /// Gives the icon's position in the image list.
  int AddIcon(const QIcon& icon);
  /// The text, cut to 80 characters, becomes tip, caption and accessible name. Gives the new
  /// button's index; 0 before Initialize.
  int AddButton(int image, const QString& text, ButtonStyle style = PlainButton);
  int ButtonCount() const { return static_cast<int>(buttons_.size()); }

  QString ButtonTipText(int index) const;
  /// Changes tip and accessible name; the caption as well unless SetButtonCaption gave it one.
  void SetButtonTipText(int index, const QString& text);
  QString ButtonCaption(int index) const;
  /// A caption that is shorter than the tip.
  void SetButtonCaption(int index, const QString& caption);
  bool ButtonChecked(int index) const;
  /// Raises no ButtonClick.
  void SetButtonChecked(int index, bool checked);
  bool ButtonVisible(int index) const;
  void SetButtonVisible(int index, bool visible);
  bool ButtonEnabled(int index) const;
  void SetButtonEnabled(int index, bool enabled);
  void SetButtonIcon(int index, const QIcon& icon);

 Q_SIGNALS:
  /// A plain or a check button was clicked; a check button has its new state already.
  void ButtonClick(int index);
  /// A drop-down button was pressed; x and y are the screen position of its lower left corner.
  void ButtonDropDown(int index, int x, int y);

 private:
  struct Button {
    QAction* Action = nullptr;
    QToolButton* Widget = nullptr;  ///< null for a separator
    bool OwnCaption = false;
  };

  void WndProc(SubclassWhen when, bool& handled, bool& result, QWidget* window, QEvent* event,
               std::intptr_t user_value) override;
  QToolButton* At(int index) const;
  QToolButton* MakeButton(int index, ButtonStyle style);
  /// Leaves the captions out where the bar is too narrow for them.
  void FitCaptions();

  QPointer<QWidget> container_;
  QPointer<QToolBar> bar_;
  QList<QIcon> images_;
  QList<Button> buttons_;
  WindowSubclasser subclasser_;
  Qt::ToolButtonStyle captions_ = Qt::ToolButtonTextUnderIcon;
  bool flat_ = true;
};

}  // namespace kavrel
