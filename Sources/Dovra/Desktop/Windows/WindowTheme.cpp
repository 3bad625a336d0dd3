#include "Desktop/Windows/WindowTheme.hpp"

namespace dovra {

namespace {

constexpr DynamicHue ink{{0x2A, 0x22, 0x1C}, {0xEE, 0xE7, 0xDB}};
constexpr DynamicHue faintInk{{0x75, 0x6A, 0x5C}, {0xA3, 0x98, 0x88}};
constexpr DynamicHue onAccent{{0xFF, 0xFF, 0xFF}, {0xFF, 0xFF, 0xFF}};

bool isDark(const QPalette& palette) {
    return palette.base().color().lightness() < 128;
}

}  // namespace

QColor mixed(const QColor& first, const QColor& second, double share) {
    const auto mix = [share](int a, int b) { return static_cast<int>(a + (b - a) * share + 0.5); };
    return {mix(first.red(), second.red()), mix(first.green(), second.green()),
            mix(first.blue(), second.blue())};
}

QColor selectionColor(const QPalette& palette) {
    return mixed(palette.base().color(), palette.highlight().color(), isDark(palette) ? 0.26 : 0.13);
}

QColor markColor(const QPalette& palette, bool isSelected) {
    // The accent alone is too dark to be read on a dark ground.
    const double share = isDark(palette) ? (isSelected ? 0.45 : 0.25) : 0;
    return mixed(palette.highlight().color(), palette.text().color(), share);
}

QColor secondaryColor(const QPalette& palette, bool isSelected) {
    return mixed(palette.placeholderText().color(), palette.text().color(), isSelected ? 0.35 : 0);
}

QPalette themePalette(Appearance appearance) {
    const auto color = [appearance](const DynamicHue& hue) {
        const DovraHue& chosen = hue.under(appearance);
        return QColor(chosen.r, chosen.g, chosen.b);
    };
    QPalette palette(color(theme::chrome), color(theme::chrome));
    palette.setColor(QPalette::Base, color(theme::page));
    palette.setColor(QPalette::AlternateBase, color(theme::chrome));
    palette.setColor(QPalette::Mid, color(theme::hairline));
    palette.setColor(QPalette::Midlight, color(theme::hover));
    palette.setColor(QPalette::Highlight, color(theme::accent));
    palette.setColor(QPalette::Link, color(theme::accent));
    palette.setColor(QPalette::HighlightedText, color(onAccent));
    for (const auto role :
         {QPalette::Text, QPalette::WindowText, QPalette::ButtonText, QPalette::ToolTipText})
        palette.setColor(role, color(ink));
    palette.setColor(QPalette::ToolTipBase, color(theme::page));
    palette.setColor(QPalette::PlaceholderText, color(faintInk));
    for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, mixed(color(faintInk), color(theme::chrome), 0.4));
    return palette;
}

}  // namespace dovra
