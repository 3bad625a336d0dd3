#pragma once

#include <cstdint>
#include <fmt/format.h>
#include <string>

namespace dovra {

/// A colour in sRGB.
struct DovraHue {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;

    /// The sequence after which a terminal writes in this colour; empty when styling is off.
    std::string ansiForeground(bool enabled) const {
        return enabled ? fmt::format("\x1b[38;2;{};{};{}m", r, g, b) : std::string();
    }
};

enum class Appearance : std::uint8_t { light, dark };

/// A colour of light and of dark windows.
struct DynamicHue {
    DovraHue light;
    DovraHue dark;

    constexpr const DovraHue& under(Appearance appearance) const {
        return appearance == Appearance::dark ? dark : light;
    }
};

/// The colours that windows and terminals share.
namespace theme {

inline constexpr DynamicHue accent{{0x9B, 0x1B, 0x30}, {0xCF, 0x3A, 0x4E}};
inline constexpr DynamicHue chrome{{0xF1, 0xEA, 0xDB}, {0x24, 0x20, 0x1B}};
inline constexpr DynamicHue page{{0xFA, 0xF6, 0xEE}, {0x1B, 0x18, 0x15}};
inline constexpr DynamicHue hairline{{0xE2, 0xDA, 0xC9}, {0x39, 0x33, 0x2B}};
inline constexpr DynamicHue hover{{0xEC, 0xE3, 0xD2}, {0x2E, 0x29, 0x22}};

}  // namespace theme

}  // namespace dovra
