// The toolbar's export and import of the jobs.
#pragma once

#include "app/program.h"

class QWidget;

namespace kavrel {

/// Asks for a folder and copies jobs, rules and file types into it; asks before it replaces
/// anything, and tells what it has written.
void ExportByDialog(Program& program, QWidget& owner);
/// Asks for a store and takes its jobs, and the rules and file types beside it if that is wanted.
/// True when the jobs are others now.
bool ImportByDialog(Program& program, QWidget& owner);

}  // namespace kavrel
