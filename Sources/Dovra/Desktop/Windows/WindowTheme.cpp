#include "Desktop/Windows/WindowTheme.hpp"

namespace dovra {

namespace {

constexpr DynamicHue ink{{0x2A, 0x22, 0x1C}, {0xEE, 0xE7, 0xDB}};
constexpr DynamicHue faintInk{{0x67, 0x5D, 0x50}, {0xA3, 0x98, 0x88}};
constexpr DynamicHue onAccent{{0xFF, 0xFF, 0xFF}, {0xFF, 0xFF, 0xFF}};

bool isDark(const QPalette& palette) {
    return palette.base().color().lightness() < 128;
}

}  // namespace

QColor mixed(const QColor& first, const QColor& second, double share) {
    const auto mix = [share](int a, int b) { return qRound(a + (b - a) * share); };
    return {mix(first.red(), second.red()), mix(first.green(), second.green()),
            mix(first.blue(), second.blue())};
}

QColor selectionColor(const QPalette& palette) {
    return mixed(palette.base().color(), palette.highlight().color(), isDark(palette) ? 0.26 : 0.13);
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
    // The accent alone is too dark to be read on a dark ground.
    palette.setColor(QPalette::Link,
                     mixed(color(theme::accent), color(ink), appearance == Appearance::dark ? 0.4 : 0));
    palette.setColor(QPalette::Dark, mixed(color(faintInk), color(theme::page), 0.3));
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
