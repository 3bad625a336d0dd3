#pragma once

#include <QColor>
#include <QPalette>

#include "Base/Theme.hpp"

namespace dovra {

/// The colours of all windows, as roles of a palette, so that a change of the appearance reaches each widget:
/// Base is the page, Window the chrome, Mid the hairlines, Midlight what is under the pointer, Dark what is
/// dragged, Highlight the accent, Link texts in the accent, PlaceholderText the text that stands back. Each
/// text can be read on each of the grounds, also of the selected row.
QPalette themePalette(Appearance appearance);

/// The first colour with a share of the second, from 0 to 1.
QColor mixed(const QColor& first, const QColor& second, double share);

/// The background of the selected row.
QColor selectionColor(const QPalette& palette);

}  // namespace dovra
