// The program's icon with a mark for the state of the backups.
#pragma once

#include <QIcon>

#include "app/run_health.h"

namespace kavrel {

/// A tick on green, a bar on yellow, a cross on red; nothing while nothing is known. The sign says
/// the same as the colour.
QIcon HealthIcon(Health health);

}  // namespace kavrel
