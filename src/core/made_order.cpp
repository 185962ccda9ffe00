#include "core/made_order.h"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace kavrel {

MadeOrder::MadeOrder(const std::vector<std::u16string>& made) {
  for (std::size_t i = 0; i < made.size(); ++i) ranks_[made[i]] = i + 1;
}

void MadeOrder::Add(std::u16string_view unit, DateTime date) {
  std::u16string path(unit);
  const auto known = ranks_.find(path);
  entries_.push_back({date, known == ranks_.end() ? 0 : known->second, std::move(path)});
}

std::vector<std::size_t> MadeOrder::NewestFirst() const {
  std::vector<std::size_t> order(entries_.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(),
            [&](std::size_t a, std::size_t b) { return entries_[a].Rank > entries_[b].Rank; });
  std::vector<DateTime> latest(entries_.size());
  DateTime next = DateTime::max();
  for (const std::size_t i : order) {
    latest[i] = entries_[i].Date;
    if (entries_[i].Rank == 0 || latest[i] == kZeroDate) continue;
    next = latest[i] = std::min(latest[i], next);
  }
  const auto key = [&](std::size_t i) {
    return std::tie(latest[i], entries_[i].Rank, entries_[i].Unit);
  };
  std::sort(order.begin(), order.end(),
            [&](std::size_t a, std::size_t b) { return key(b) < key(a); });
  return order;
}

}  // namespace kavrel
