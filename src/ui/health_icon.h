// Marks for the state of the backups. The sign says the same as the colour.
#pragma once

#include <QIcon>

#include "app/run_health.h"

namespace kavrel {

/// The icon with a mark in its corner: a tick on green, a bar on yellow, a cross on red, an arrow
/// on blue, two bars on grey; nothing while nothing is known.
QIcon MarkedIcon(const QIcon& plain, Health health);
/// The program's icon with its mark.
QIcon HealthIcon(Health health);
/// The mark alone.
QIcon HealthSign(Health health);

}  // namespace kavrel
