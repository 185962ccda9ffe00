// The areas of a window that controls are put into.
#pragma once

class QWidget;

namespace kavrel {

/// Makes the control a child of the container that fills it, whatever the container's size becomes.
void FillContainer(QWidget* container, QWidget* control);

}  // namespace kavrel
