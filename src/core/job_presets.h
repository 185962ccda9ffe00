// The common jobs that the editor offers: a name and the folder to back up.
#pragma once

#include <span>
#include <string_view>

#include "platform/user_folders.h"

namespace kavrel {

struct JobPreset {
  std::u16string_view Caption;  ///< in the editor's list
  std::u16string_view Name;     ///< of the job
  UserFolder Source;
};

/// In the order of the list.
std::span<const JobPreset> JobPresets();

}  // namespace kavrel
