#pragma once

#include <QIcon>

namespace dovra {

/// The icon of the program and its windows, from the drawing that desktops show for the program too.
QIcon applicationIcon();

/// The icon of the status area: the drawing that the desktop colours to fit, once that is installed, or else
/// the application's.
QIcon statusIcon();

}  // namespace dovra
