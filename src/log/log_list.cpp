#include "log/log_list.h"

namespace kavrel {

void LogList::Append(LogRow row) {
  rows_.push_back(std::move(row));
  if (Changed) Changed();
}

void LogList::Remove(std::size_t first, std::size_t count) {
  const auto begin = rows_.begin() + static_cast<std::ptrdiff_t>(first);
  rows_.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
  if (Changed) Changed();
}

void LogList::Clear() {
  rows_.clear();
  if (Changed) Changed();
}

}  // namespace kavrel
