// A line of text that is cut in its middle where it does not fit: of a long path, beginning and end
// tell most.
#pragma once

#include <QWidget>

namespace kavrel {

class CaptionStrip : public QWidget {
  Q_OBJECT

 public:
  explicit CaptionStrip(QWidget* parent = nullptr);

  const QString& Text() const { return text_; }
  void SetText(const QString& text);
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString text_;
};

}  // namespace kavrel
