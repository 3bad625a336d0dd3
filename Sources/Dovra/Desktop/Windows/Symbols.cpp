#include "Desktop/Windows/Symbols.hpp"

#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>
#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <string_view>
#include <utility>
#include <vector>

#include "Desktop/Windows/ToolkitText.hpp"
#include "Query/FileKind.hpp"

namespace dovra {

namespace {

/// A drawing on a field of 24 by 24: an outline, which is filled faintly, and lines.
struct SymbolRow {
    Symbol symbol;
    std::string_view outline;
    std::string_view lines;
};

constexpr std::string_view sheet =
    "M6 2.8h8l4.2 4.2v13a1.2 1.2 0 0 1-1.2 1.2H6A1.2 1.2 0 0 1 4.8 20V4A1.2 1.2 0 0 1 6 2.8z";
constexpr std::string_view disc = "M12 2.8a9.2 9.2 0 1 1 0 18.4a9.2 9.2 0 1 1 0-18.4z";

constexpr std::array drawings = {
    SymbolRow{Symbol::search, "M10.5 4a6.5 6.5 0 1 1 0 13a6.5 6.5 0 1 1 0-13z", "M15.3 15.3L20.5 20.5"},
    SymbolRow{Symbol::searchCircle, disc, "M11 7.5a3.5 3.5 0 1 1 0 7a3.5 3.5 0 1 1 0-7zM13.6 13.6L16.8 16.8"},
    SymbolRow{Symbol::clear, disc, "M8.6 8.6l6.8 6.8M15.4 8.6l-6.8 6.8"},
    SymbolRow{Symbol::menu, "", "M4.5 7h15M4.5 12h15M4.5 17h15"},
    SymbolRow{Symbol::folder,
              "M2.8 7V6A1.6 1.6 0 0 1 4.4 4.4h4.4l2.2 2.4h8.6A1.6 1.6 0 0 1 21.2 8.4v9.4a1.6 1.6 0 0 1-1.6 "
              "1.6H4.4a1.6 1.6 0 0 1-1.6-1.6z",
              "M2.8 10.2h18.4"},
    SymbolRow{Symbol::link, sheet, "M8.2 16.5v-2.2a2.3 2.3 0 0 1 2.3-2.3h4M12.3 9.6l2.5 2.4l-2.5 2.4"},
    SymbolRow{Symbol::file, sheet, "M13.6 3v4.4H18"},
    SymbolRow{Symbol::document, sheet, "M13.6 3v4.4H18M8 11.4h7M8 14.4h7M8 17.4h4.4"},
    SymbolRow{Symbol::image,
              "M4.6 4h14.8A1.6 1.6 0 0 1 21 5.6v12.8a1.6 1.6 0 0 1-1.6 1.6H4.6A1.6 1.6 0 0 1 3 "
              "18.4V5.6A1.6 1.6 0 0 1 4.6 4z",
              "M3.4 17l5-5.2l4 4l2.6-2.6l5.6 5M15.6 7.7a1.3 1.3 0 1 1 0 2.6a1.3 1.3 0 1 1 0-2.6z"},
    SymbolRow{
        Symbol::audio,
        "M7 14.8a2.8 2.8 0 1 1 0 5.6a2.8 2.8 0 1 1 0-5.6zM17 12.8a2.8 2.8 0 1 1 0 5.6a2.8 2.8 0 1 1 0-5.6z",
        "M9.8 17.4V5.8l10-2v11.6M9.8 9.2l10-2"},
    SymbolRow{Symbol::video,
              "M4.6 4.6h14.8A1.6 1.6 0 0 1 21 6.2v11.6a1.6 1.6 0 0 1-1.6 1.6H4.6A1.6 1.6 0 0 1 3 "
              "17.8V6.2A1.6 1.6 0 0 1 4.6 4.6z",
              "M10 8.8l5.4 3.2L10 15.2z"},
    SymbolRow{Symbol::archive,
              "M4.4 8.4h15.2v10.2a1.4 1.4 0 0 1-1.4 1.4H5.8a1.4 1.4 0 0 1-1.4-1.4zM3.2 4.2h17.6v4.2H3.2z",
              "M9.8 12.2h4.4"},
    SymbolRow{Symbol::program,
              "M4.6 4.6h14.8A1.6 1.6 0 0 1 21 6.2v11.6a1.6 1.6 0 0 1-1.6 1.6H4.6A1.6 1.6 0 0 1 3 "
              "17.8V6.2A1.6 1.6 0 0 1 4.6 4.6z",
              "M7 9.4l3 2.6l-3 2.6M12.4 15.2h4.6"},
};

/// What stands for a kind, by the kind's first word in the query language, and its colour.
struct KindRow {
    std::string_view word;
    Symbol symbol;
    QRgb color;
};

constexpr std::array kindRows = {
    KindRow{"folder", Symbol::folder, 0xFFC08A2C}, KindRow{"audio", Symbol::audio, 0xFF9A5FA8},
    KindRow{"video", Symbol::video, 0xFF4F7FBF},   KindRow{"image", Symbol::image, 0xFF3F9483},
    KindRow{"doc", Symbol::document, 0xFFB0593F},  KindRow{"zip", Symbol::archive, 0xFF947449},
    KindRow{"exe", Symbol::program, 0xFF6B8F3D},
};

QByteArray svg(const SymbolRow& row, const QColor& color, int points) {
    const double lineWidth =
        points < 40 ? 1.6 : 1.1;  // Large drawings look clumsy with the lines of small ones.
    const std::string name = color.name().toStdString();
    return QByteArray::fromStdString(fmt::format(
        R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 24 24"><g stroke="{0}" stroke-width="{3}" )"
        R"(stroke-linecap="round" stroke-linejoin="round"><path d="{1}" fill="{0}" fill-opacity="0.16"/>)"
        R"(<path d="{2}" fill="none"/></g></svg>)",
        name, row.outline, row.lines, lineWidth));
}

}  // namespace

QPixmap symbolPixmap(Symbol symbol, const QColor& color, int points, qreal pixelRatio) {
    const auto row = std::ranges::find(drawings, symbol, &SymbolRow::symbol);
    const int pixels = qRound(points * pixelRatio);
    const QString key = QStringLiteral("symbol %1 %2 %3").arg(int(symbol)).arg(color.rgb()).arg(pixels);
    QPixmap pixmap;
    if (QPixmapCache::find(key, &pixmap)) return pixmap;
    pixmap = QPixmap(pixels, pixels);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    QSvgRenderer(svg(*row, color, points)).render(&painter);
    painter.end();
    pixmap.setDevicePixelRatio(pixelRatio);
    QPixmapCache::insert(key, pixmap);
    return pixmap;
}

Symbol symbolOf(const FileRow& row) {
    static const auto kinds = [] {
        std::vector<std::pair<ExtensionList, Symbol>> lists;
        for (const FileKind& kind : Macros::kinds()) {
            const auto found = std::ranges::find(kindRows, kind.words.front(), &KindRow::word);
            if (found != kindRows.end()) lists.emplace_back(ExtensionList(kind.extensions), found->symbol);
        }
        return lists;
    }();
    if (row.isSymbolicLink) return Symbol::link;
    if (row.isDir) return Symbol::folder;
    for (const auto& [list, symbol] : kinds)
        if (list.matches(row.name)) return symbol;
    return Symbol::file;
}

QColor symbolColor(Symbol symbol, const QColor& text) {
    const auto found = std::ranges::find(kindRows, symbol, &KindRow::symbol);
    return found == kindRows.end() ? text : QColor(found->color);
}

}  // namespace dovra
