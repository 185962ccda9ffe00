#include "ui/run_panel.h"

#include <QGridLayout>
#include <QPushButton>
#include <algorithm>

#include "core/run_captions.h"
#include "ui/language.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {

constexpr int kBarHeight = 18;
constexpr int kFullBar = 100;
constexpr std::uint64_t kLargestBar = 1U << 30U;

}  // namespace

RunPanel::RunPanel(QWidget* captions, QWidget* file_bar)
    : QObject(captions), captions_(captions), file_area_(file_bar) {
  Build();
  Show(false);
}

void RunPanel::Build() {
  const auto strip = [this](const char* name) {
    auto* made = new CaptionStrip(captions_);
    made->setObjectName(QString::fromLatin1(name));
    return made;
  };
  source_ = strip("PicSrc");
  dest_ = strip("PicDest");
  name_ = strip("PicBackup");
  total_ = strip("PicTotal");
  cancel_ = Speaking(new QPushButton(captions_), TrLater(u"取消備份"));
  cancel_->setObjectName(QStringLiteral("cmdCancel"));
  connect(cancel_, &QPushButton::clicked, this, &RunPanel::CancelClick);
  auto* all_area = new QWidget(captions_);
  all_area->setObjectName(QStringLiteral("picPtbTotal"));
  all_area->setFixedHeight(kBarHeight);
  all_.SetTargetPictureBox(all_area);
  all_.Create();

  auto* grid = new QGridLayout(captions_);
  grid->setContentsMargins(6, 4, 6, 4);
  grid->setHorizontalSpacing(12);
  grid->setVerticalSpacing(1);
  int row = 0;
  for (CaptionStrip* shown : {source_, dest_, name_, total_}) grid->addWidget(shown, row++, 0);
  grid->addWidget(all_area, row, 0, 1, 2);
  grid->addWidget(cancel_, 0, 1, row, 1, Qt::AlignVCenter);
  grid->setColumnStretch(0, 1);

  file_area_->setFixedHeight(kBarHeight);
  file_.SetTargetPictureBox(file_area_);
  file_.SetMin(0);
  file_.SetMax(kFullBar);
  file_.Create();
  OnLanguage(this, [this] {
    all_.SetAccessibleName(TrText(u"整體進度"));
    file_.SetAccessibleName(TrText(u"目前檔案進度"));
  });
}

void RunPanel::Begin(std::u16string_view source, std::u16string_view dest, bool by_percent) {
  run_source_ = source;
  run_dest_ = dest;
  by_percent_ = by_percent;
}

void RunPanel::Show(bool show) {
  captions_->setVisible(show);
  file_area_->setVisible(show && !by_percent_);
  SetCaptions(run_source_, run_dest_, {});
  any_file_ = false;
  DrawCaptions();
  total_->SetText({});
  all_.SetValue(0);
}

void RunPanel::DrawCaptions() {
  source_->SetText(ShownText(SourceCaption(source_text_)));
  dest_->SetText(ShownText(DestinationCaption(dest_text_)));
  name_->SetText(ShownText(FileCaption(name_text_)));
}

void RunPanel::SetCaptions(std::u16string_view source, std::u16string_view dest,
                           std::u16string_view name) {
  source_text_ = source;
  dest_text_ = dest;
  name_text_ = name;
}

void RunPanel::SetFile(std::uint64_t total_size, std::uint64_t bytes_done,
                       std::uint32_t block_size) {
  file_total_ = total_size;
  file_done_ = bytes_done;
  block_ = block_size;
  any_file_ = true;
}

void RunPanel::ResetFile() {
  any_file_ = false;
  bar_max_ = kFullBar;
  bar_value_ = 0;
}

void RunPanel::FillFile() {
  any_file_ = false;
  bar_max_ = bar_value_ = kFullBar;
}

namespace {

/// What stands in brackets is sizes.
QString ShownProgress(const std::u16string& text) {
  const std::size_t begin = text.find(u"[ ") + 2, end = text.find(u" ]");
  return ToQString(text.substr(0, begin)) + ShownText(text.substr(begin, end - begin)) +
         ToQString(text.substr(end));
}

}  // namespace

QString RunPanel::FileText() const {
  if (!any_file_) return {};
  return by_percent_ ? QStringLiteral(" %1 %").arg(file_done_)
                     : ShownProgress(CopyProgressText(file_total_, file_done_));
}

void RunPanel::Draw(const RunFigures& figures) {
  // One painting for all that changes, not one for each.
  captions_->setUpdatesEnabled(false);
  if (any_file_) {
    const ProgressBar bar = CopyProgressBar(file_total_, file_done_, block_);
    bar_max_ = static_cast<int>(std::min(bar.Max, kLargestBar));
    bar_value_ = static_cast<int>(std::min(bar.Value, kLargestBar));
  }
  if (file_.Max() != bar_max_) file_.SetMax(bar_max_);
  file_.SetValue(bar_value_);
  DrawCaptions();
  total_->SetText(ShownText(ProgressText(figures)));
  // A bar that runs to and fro says that the end is not known yet.
  const int max = figures.Percent < 0 ? 0 : kFullBar;
  if (all_.Max() != max) all_.SetMax(max);
  if (figures.Percent >= 0) all_.SetValue(figures.Percent);
  captions_->setUpdatesEnabled(true);
}

}  // namespace kavrel
