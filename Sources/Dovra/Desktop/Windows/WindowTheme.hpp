#pragma once

#include <QColor>
#include <QPalette>

#include "Base/Theme.hpp"

namespace dovra {

/// The colours of all windows, as roles of a palette, so that a change of the appearance reaches each widget:
/// Base is the page, Window the chrome, Mid the hairlines, Midlight what is under the pointer, Highlight and
/// Link the accent, PlaceholderText the text that stands back.
QPalette themePalette(Appearance appearance);

/// The first colour with a share of the second, from 0 to 1.
QColor mixed(const QColor& first, const QColor& second, double share);

/// The background of the selected row, and on it or elsewhere, the parts of names that met the query and the
/// text beside the names.
QColor selectionColor(const QPalette& palette);
QColor markColor(const QPalette& palette, bool isSelected);
QColor secondaryColor(const QPalette& palette, bool isSelected);

}  // namespace dovra
