#pragma once

#include <QFont>
#include <QRawFont>

#include "Base/Print.hpp"

namespace dovra {

/// Whether texts can be drawn. Without a font the toolkit draws boxes in their place; then this tells so.
inline bool checkFonts() {
    // Names of families are there without a font, and the boxes pass for its letters. They have no tables.
    if (!QRawFont::fromFont(QFont()).fontTable("cmap").isEmpty()) return true;
    printError("dovra: no font is installed (Debian: apt install fonts-dejavu-core)\n");
    return false;
}

}  // namespace dovra
