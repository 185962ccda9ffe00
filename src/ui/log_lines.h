// The lines of a job log as the rows of a list.
#pragma once

#include <QAbstractListModel>
#include <QIcon>
#include <string>
#include <string_view>
#include <vector>

namespace kavrel {

/// Of each line only where it lies is kept, so that a log of a million lines opens at once.
class LogLines : public QAbstractListModel {
  Q_OBJECT

 public:
  explicit LogLines(std::u16string text, QObject* parent = nullptr);

  /// Only lines that tell of something that went wrong, with their reasons; or all.
  void ShowTroublesOnly(bool on);
  int Troubles() const { return static_cast<int>(troubles_.size()); }
  /// The next row from `row` on, round the end, that holds the text, without regard to letter
  /// case; -1 when none does.
  int Find(const QString& text, int row) const;

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;

 private:
  struct Line {
    std::u16string_view Text;
    bool Trouble;
  };
  const Line& At(int row) const;

  const std::u16string text_;
  std::vector<Line> lines_;
  std::vector<std::size_t> troubles_;  ///< positions of these lines
  bool troubles_only_ = false;
  QIcon mark_, no_mark_;
};

}  // namespace kavrel
