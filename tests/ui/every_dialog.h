// Every dialog and every tab of one, with content, for pictures and for tests that look at all of
// them.
#pragma once

#include <QString>
#include <functional>

class QWidget;

namespace kavrel {

/// Makes them one after the other; each is handed over shown, and gone when `look` has returned.
void ShowEveryDialog(const std::function<void(QWidget& window, const QString& name)>& look);

}  // namespace kavrel
