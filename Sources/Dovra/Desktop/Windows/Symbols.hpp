#pragma once

#include <QColor>
#include <QPixmap>
#include <cstdint>

#include "Index/FileRow.hpp"

namespace dovra {

/// The drawings of the windows.
enum class Symbol : std::uint8_t {
    search,
    searchCircle,
    clear,
    menu,
    folder,
    link,
    file,
    document,
    image,
    audio,
    video,
    archive,
    program,
};

/// A drawing in one colour, so many points wide and high, for a screen with so many pixels a point. Kept in
/// the toolkit's cache.
QPixmap symbolPixmap(Symbol symbol, const QColor& color, int points, qreal pixelRatio);

/// The drawing for a row, told by the kind of its name.
Symbol symbolOf(const FileRow& row);

/// The colour in which rows show the drawing; `text` is that of the row's text.
QColor symbolColor(Symbol symbol, const QColor& text);

}  // namespace dovra
