#include "ui/welcome_page.h"

#include <QComboBox>
#include <QElapsedTimer>
#include <QEvent>
#include <QGridLayout>
#include <QPushButton>
#include <QShowEvent>
#include <algorithm>

#include "app/job_preview.h"
#include "app/program.h"
#include "files/size_text.h"
#include "ui/language.h"
#include "ui/layout_help.h"
#include "ui/qt_text.h"
#include "ui/row_colours.h"

namespace kavrel {

namespace {

// Events wait at most so long for the counting, which rests in between.
constexpr int kCountForMs = 10, kCountEveryMs = 5;
constexpr std::size_t kEntriesAtOnce = 50;
constexpr int kLookForDisksMs = 2000;

constexpr int kSizeColumn = 1;

constexpr const char16_t* kOften[] = {TrLater(u"每小時"), TrLater(u"每天"), TrLater(u"每週"),
                                      TrLater(u"每個月")};
constexpr int kDaily = 1;

}  // namespace

WelcomePage::WelcomePage(Program& program) : program_(program) {
  setObjectName(QStringLiteral("picWelcome"));
  QWidget* sources = MakeList(sources_, "lstSources", {});
  sources_.ColumnAdd(-1, 220, {});
  sources_.ColumnAdd(-1, 110, {}, clsLictView::AlignRight);
  QWidget* places = MakeList(places_, "lstPlaces", {});
  places_.ColumnAdd(-1, 120, {});
  places_.ColumnAdd(-1, 180, {});
  places_.ColumnAdd(-1, 110, {}, clsLictView::AlignRight);
  const auto heading = [](const char16_t* id, QWidget* list) {
    QLabel* label = Speaking(new QLabel, id);
    label->setBuddy(list);
    return label;
  };
  auto* grid = new QGridLayout(this);
  grid->addWidget(MakeHeading(), 0, 0, 1, 2);
  grid->addWidget(heading(TrLater(u"要備份什麼(&A)"), sources_.hwnd()), 1, 0);
  grid->addWidget(heading(TrLater(u"備份到哪裡(&D)"), places_.hwnd()), 1, 1);
  grid->addWidget(sources, 2, 0);
  grid->addWidget(places, 2, 1);
  grid->addWidget(MakeEnd(), 3, 0, 1, 2);
  grid->setRowStretch(2, 1);
  grid->setColumnStretch(0, 4);
  grid->setColumnStretch(1, 5);

  for (clsLictView* list : {&sources_, &places_}) {
    connect(list, &clsLictView::ItemSelect, this, &WelcomePage::ShowChoice);
    connect(list, &clsLictView::NotifyKeyDown, this, [this](int key, bool& handled) {
      handled = key == Qt::Key_Return;
      if (handled) cmdFirstJob_->click();
    });
  }
  connect(&count_timer_, &QTimer::timeout, this, &WelcomePage::Count);
  connect(&disk_timer_, &QTimer::timeout, this, [this] { FillPlaces(false); });
  ApplyColour();
  OnLanguage(this, [this] { FollowLanguage(); });
}

void WelcomePage::FollowLanguage() {
  int column = 0;
  for (const char16_t* caption : {TrLater(u"資料夾"), TrLater(u"大小")}) {
    sources_.SetColumnText(column++, TrText(caption));
  }
  column = 0;
  for (const char16_t* caption : {TrLater(u"磁碟"), TrLater(u"資料夾"), TrLater(u"可用空間")}) {
    places_.SetColumnText(column++, TrText(caption));
  }
  sources_.SetAccessibleName(TrText(u"要備份什麼"));
  places_.SetAccessibleName(TrText(u"備份到哪裡"));
  for (int i = 0; i < std::ssize(kOften); ++i) cboOften_->setItemText(i, TrText(kOften[i]));
  if (!isVisible()) return;
  FillPlaces(true);
  FillSources();
}

QWidget* WelcomePage::MakeHeading() {
  QLabel* label = Speaking(
      new QLabel, TrLater(u"還沒有任何備份排程。選擇要備份的資料夾與存放的磁碟，就能開始。"));
  label->setWordWrap(true);
  QFont large = label->font();
  large.setPointSizeF(large.pointSizeF() * 1.2);
  label->setFont(large);
  return label;
}

QWidget* WelcomePage::MakeEnd() {
  cboOften_ = Make<QComboBox>("cboOften");
  cboOften_->addItems(QStringList(std::ssize(kOften)));
  cboOften_->setCurrentIndex(kDaily);
  IgnoreWheel(cboOften_);
  connect(cboOften_, &QComboBox::activated, this, &WelcomePage::ShowChoice);
  lblChoice_ = Make<QLabel>("lblChoice");
  lblWarning_ = Make<QLabel>("lblFirstWarning");
  for (QLabel* label : {lblChoice_, lblWarning_}) {
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
  }
  cmdFirstJob_ = Speaking(Make<QPushButton>("cmdFirstJob"), TrLater(u"建立備份排程(&B)"));
  connect(cmdFirstJob_, &QPushButton::clicked, this, [this] { Q_EMIT JobWanted(Form()); });
  auto* cmdEditor = Speaking(Make<QPushButton>("cmdEditor"), TrLater(u"更多設定(&M)..."));
  connect(cmdEditor, &QPushButton::clicked, this, &WelcomePage::EditorWanted);
  auto* end = new QWidget;
  auto* row = new QHBoxLayout;
  row->addWidget(SpeakingLabel(TrLater(u"多久備份一次(&O)："), cboOften_));
  row->addWidget(cboOften_);
  row->addStretch();
  row->addWidget(cmdEditor);
  row->addWidget(cmdFirstJob_);
  auto* layout = new QVBoxLayout(end);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(lblChoice_);
  layout->addWidget(lblWarning_);
  layout->addLayout(row);
  return end;
}

void WelcomePage::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  if (event->spontaneous()) return;
  FillPlaces(true);
  FillSources();
  count_timer_.start(kCountEveryMs);
  disk_timer_.start(kLookForDisksMs);
}

void WelcomePage::hideEvent(QHideEvent* event) {
  QWidget::hideEvent(event);
  if (event->spontaneous()) return;
  count_timer_.stop();
  disk_timer_.stop();
}

void WelcomePage::FillSources() {
  const int selected = sources_.SelectedItem();
  source_offers_ = SourceOffers(program_);
  counts_.clear();
  counting_ = 0;
  sources_.ItemClear();
  for (const SourceOffer& offer : source_offers_) {
    sources_.ItemAdd(-1, NameText(offer.Name));
    counts_.push_back(offer.Countable ? std::make_unique<TreeCount>(program_.Files, offer.Folder,
                                                                    u"", Scope::OfRestore(true))
                                      : nullptr);
    ShowSize(counts_.size() - 1);
  }
  sources_.SetSelectedItem(selected);
  ShowChoice();
}

void WelcomePage::FillPlaces(bool anew) {
  program_.Mounts.Load();
  const std::vector<std::u16string> volumes = program_.Mounts.Volumes();
  if (!anew && volumes == volumes_) return;
  volumes_ = volumes;
  const int row = places_.SelectedItem();
  const std::u16string chosen =
      row < 0 ? std::u16string() : place_offers_[static_cast<std::size_t>(row)].Folder;
  place_offers_ = PlaceOffers(program_, volumes_);
  places_.ItemClear();
  int selected = -1;
  for (const PlaceOffer& offer : place_offers_) {
    const int at = places_.ItemAdd(-1, NameText(offer.Name));
    places_.ItemAddSub(at, 1, ToQString(offer.Folder));
    const QString free =
        offer.Free ? ShownText(FormatSize(*offer.Free, SizeMode::Scaled)) : QString();
    places_.ItemAddSub(at, 2, offer.Writable ? free : TrText(u"無法寫入"));
    if (offer.Folder == chosen) selected = at;
  }
  places_.SetSelectedItem(selected);
  ShowChoice();
}

void WelcomePage::Count() {
  QElapsedTimer spent;
  spent.start();
  while (counting_ < counts_.size()) {
    // The folders come before all of them together.
    const std::size_t row = (counting_ + 1) % counts_.size();
    TreeCount* count = counts_[row].get();
    bool done = !count;
    while (!done && spent.elapsed() < kCountForMs) done = count->Advance(kEntriesAtOnce);
    ShowSize(row);
    if (!done) return;
    ++counting_;
  }
  count_timer_.stop();
}

void WelcomePage::ShowSize(std::size_t row) {
  const TreeCount* count = counts_[row].get();
  QString text = TrText(u"網路");
  if (count) {
    text = ShownText(FormatSize(count->Bytes(), SizeMode::Scaled));
    if (!count->Done()) text = count->Files() == 0 ? QStringLiteral("…") : text + u'…';
  }
  sources_.SetItemText(static_cast<int>(row), kSizeColumn, text);
}

JobForm WelcomePage::Form() const {
  return FirstJob(program_, source_offers_[static_cast<std::size_t>(sources_.SelectedItem())],
                  place_offers_[static_cast<std::size_t>(places_.SelectedItem())],
                  kFirstIntervals[cboOften_->currentIndex()]);
}

void WelcomePage::ShowChoice() {
  const bool chosen = sources_.SelectedItem() >= 0 && places_.SelectedItem() >= 0;
  QString choice = TrText(u"請選擇資料夾與磁碟。");
  QStringList warnings;
  bool writable = false;
  if (chosen) {
    writable = place_offers_[static_cast<std::size_t>(places_.SelectedItem())].Writable;
    const JobPreview preview = PreviewJob(program_, Form());
    choice = TrText(u"備份到：") + ToQString(preview.Destination);
    if (!writable) warnings += TrText(u"⚠ 您沒有寫入這個磁碟的權限，或它是唯讀的。");
    for (const std::u16string& warning : preview.Warnings) {
      warnings += QStringLiteral("⚠ ") + ShownText(warning);
    }
  }
  for (const auto& [label, text] :
       {std::pair(lblChoice_, choice), std::pair(lblWarning_, warnings.join(u'\n'))}) {
    label->setText(text);
    label->setAccessibleName(text);
  }
  lblWarning_->setVisible(!warnings.isEmpty());
  cmdFirstJob_->setEnabled(chosen && writable);
}

void WelcomePage::changeEvent(QEvent* event) {
  QWidget::changeEvent(event);
  if (event->type() == QEvent::PaletteChange) ApplyColour();
}

void WelcomePage::ApplyColour() {
  QPalette colours = palette();
  colours.setColor(QPalette::WindowText, FailureTextColour(palette()));
  lblWarning_->setPalette(colours);
}

}  // namespace kavrel
