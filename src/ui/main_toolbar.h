// The buttons of the main window's toolbar.
#pragma once

#include "ui/controls/cls_toolbar.h"

namespace kavrel {

/// Their indexes; those between are separators.
enum ToolbarButton {
  kRunChecked = 1,
  kEditJobs = 3,
  kShowLog = 4,
  kOptions = 5,
  kExport = 7,
  kImport = 8,
  kHelp = 10,
  kExit = 11
};

/// Fills the toolbar, whose container is `area`.
void BuildMainToolbar(clsToolbar& toolbar, QWidget* area);

/// The tip of the button that switches between jobs and log.
QString ShowLogTip(bool shown);

}  // namespace kavrel
