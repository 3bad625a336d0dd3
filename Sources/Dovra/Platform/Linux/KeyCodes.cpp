#include "Platform/KeyCodes.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace dovra {

namespace {

/// One key in all numberings. The toolkit's numbers are those of Qt's `Qt::Key`, the hardware's the kernel's
/// plus 8, as X11 and Wayland count.
struct KeyRow {
    KeyCode code;
    int toolkitKey;
    std::uint32_t hardwareCode;
    std::uint32_t keySymbol;
    std::string_view name;
};

constexpr std::array keys = {
    KeyRow{KeyCode::y, 'Y', 29, 'y', "y"},
    KeyRow{KeyCode::l, 'L', 46, 'l', "l"},
    KeyRow{KeyCode::space, ' ', 65, ' ', "space"},
    KeyRow{KeyCode::escape, 0x01000000, 9, 0xFF1B, "Escape"},
    KeyRow{KeyCode::downArrow, 0x01000015, 116, 0xFF54, "Down"},
    KeyRow{KeyCode::upArrow, 0x01000013, 111, 0xFF52, "Up"},
};

/// A symbol that Latin keyboards lack; 0x01000000 and above are keys without one, such as the arrows.
constexpr bool isOfAnotherScript(int toolkitKey) {
    return toolkitKey > 0xFF && toolkitKey < 0x01000000;
}

struct ModifierRow {
    std::uint32_t bit;
    std::uint16_t mask;
    std::string_view name;
};

constexpr std::array modifierRows = {
    ModifierRow{HotKeyModifier::shift, 1, "SHIFT+"},
    ModifierRow{HotKeyModifier::command, 4, "CTRL+"},
    ModifierRow{HotKeyModifier::option, 8, "ALT+"},
    ModifierRow{HotKeyModifier::control, 64, "LOGO+"},
};

}  // namespace

std::optional<KeyCode> keyCodeOf(int toolkitKey, std::uint32_t hardwareCode) {
    const auto found = isOfAnotherScript(toolkitKey)
                           ? std::ranges::find(keys, hardwareCode, &KeyRow::hardwareCode)
                           : std::ranges::find(keys, toolkitKey, &KeyRow::toolkitKey);
    return found == keys.end() ? std::nullopt : std::optional(found->code);
}

bool holdsCommand(std::uint32_t toolkitModifiers) {
    constexpr std::uint32_t controlModifier = 0x04000000;
    return (toolkitModifiers & controlModifier) != 0;
}

std::optional<SystemHotKey> systemHotKey(std::uint32_t keyCode, std::uint32_t modifiers) {
    const auto key = std::ranges::find(keys, static_cast<KeyCode>(keyCode), &KeyRow::code);
    if (key == keys.end()) return std::nullopt;
    SystemHotKey hotKey{.keySymbol = key->keySymbol};
    for (const auto& [bit, mask, name] : modifierRows) {
        if ((modifiers & bit) == 0) continue;
        hotKey.modifierMask |= mask;
        hotKey.trigger += name;
        modifiers &= ~bit;
    }
    hotKey.trigger += key->name;
    return modifiers == 0 ? std::optional(hotKey) : std::nullopt;
}

}  // namespace dovra
