// What a stored setting can be.
#pragma once

#include <string_view>

#include "core/settings.h"

namespace kavrel {

/// Whether Settings::SetText takes this text for the setting.
bool TakesValue(const SettingInfo& setting, std::u16string_view text);

}  // namespace kavrel
