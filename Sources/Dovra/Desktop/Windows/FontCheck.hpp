#pragma once

#include <QFontDatabase>

#include "Base/Print.hpp"

namespace dovra {

/// Whether texts can be drawn. Without a font the toolkit draws boxes in their place; then this tells so.
inline bool checkFonts() {
    if (!QFontDatabase::families().isEmpty()) return true;
    printError("dovra: no font is installed (Debian: apt install fonts-dejavu-core)\n");
    return false;
}

}  // namespace dovra
