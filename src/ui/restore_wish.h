// What a user wants back, once a dialog was accepted.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/date_time.h"
#include "core/restore_pick.h"

namespace kavrel {

struct RestoreWish {
  std::int32_t Job = 0;  ///< position in the store
  RestorePick Pick;
  std::u16string Unit;  ///< the state that it is of; empty: what lies in the place of now
  /// The one file that was picked is to stand beside the present one, named with this date.
  std::optional<DateTime> Beside{};
};

}  // namespace kavrel
