#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace dovra {

/// The virtual key codes of the keys that the panel knows.
enum class KeyCode : std::uint32_t {
    y = 16,
    l = 37,
    space = 49,
    escape = 53,
    downArrow = 125,
    upArrow = 126
};

/// The modifier bits of hot keys. On this platform Ctrl is the command key, and Alt the option key.
struct HotKeyModifier {
    static constexpr std::uint32_t command = 256;
    static constexpr std::uint32_t shift = 512;
    static constexpr std::uint32_t option = 2048;
    static constexpr std::uint32_t control = 4096;  ///< the key between Ctrl and Alt
};

/// The panel's key for one that a window received: `toolkitKey` is the toolkit's number of the symbol on the
/// key, `hardwareCode` the window system's number of the key's place, 0 when it is not known. The symbol
/// decides. Only a symbol of another script, as on a Russian keyboard, leaves the decision to the place.
/// Absent for every other key.
std::optional<KeyCode> keyCodeOf(int toolkitKey, std::uint32_t hardwareCode);

/// Whether the toolkit's bits of held keys have that of the command key.
bool holdsCommand(std::uint32_t toolkitModifiers);

/// A hot key as window systems are asked for it.
struct SystemHotKey {
    std::uint32_t keySymbol = 0;     ///< of X11
    std::uint16_t modifierMask = 0;  ///< of X11, with Alt as its first numbered modifier
    std::string trigger = {};        ///< as desktops write it, such as "ALT+space"

    bool operator==(const SystemHotKey&) const = default;
};

/// Absent for a key code or a modifier bit that is not known here.
std::optional<SystemHotKey> systemHotKey(std::uint32_t keyCode, std::uint32_t modifiers);

}  // namespace dovra
