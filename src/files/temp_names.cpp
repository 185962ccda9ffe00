#include "files/temp_names.h"

#include <random>

namespace kavrel {

std::uint64_t FirstTempNumber(DateTime now) {
  constexpr std::uint64_t kChances = 1'000'000'000;
  const CivilTime t = ToCivil(now);
  const auto moment =
      static_cast<std::uint64_t>(t.Second + 100 * t.Minute + 10000 * t.Hour + 1000000 * t.Day);
  return moment * kChances + std::random_device()() % kChances;
}

TempNames::TempNames(Clock& clock, StagingJournal* journal, std::u16string_view root)
    : journal_(journal), root_(root), first_(FirstTempNumber(clock.Now())), next_(first_) {}

TempNames::~TempNames() {
  if (journal_ && !left_) journal_->End(record_);
}

std::u16string TempNames::Next() {
  const std::lock_guard lock(mutex_);
  if (!begun_ && journal_) record_ = journal_->BeginFiles(root_, first_);
  begun_ = true;
  const std::uint64_t used = next_ - first_;
  if (journal_ && used > 0 && used % StagingJournal::kNumbers == 0) journal_->Extend(record_);
  return TempName(next_++);
}

void TempNames::NoteChanges(std::span<const NameChange> changes) {
  const std::lock_guard lock(mutex_);
  if (journal_) journal_->NoteChanges(record_, changes);
}

}  // namespace kavrel
