#pragma once

#include <QFont>
#include <QFontMetrics>

namespace dovra::panelMetrics {

/// From the sides of the panel to what stands in it.
inline constexpr int edge = 18;

/// Between a drawing and its text.
inline constexpr int gap = 10;

inline QFont searchFont(QFont font) {
    font.setPointSizeF(font.pointSizeF() * 1.6);
    return font;
}

/// The side of the drawing before the search field.
inline int searchSymbolSize(const QFont& font) {
    return QFontMetrics(searchFont(font)).height();
}

/// Where the text of the search field begins, and below it the names of the rows.
inline int textEdge(const QFont& font) {
    constexpr int marginOfFields = 2;
    return edge + searchSymbolSize(font) + gap + marginOfFields;
}

}  // namespace dovra::panelMetrics
