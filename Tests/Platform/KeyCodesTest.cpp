#include <gtest/gtest.h>

#include "Platform/KeyCodes.hpp"

namespace dovra {
namespace {

TEST(KeyCodes, GoBySymbolAndByPlaceOnlyInAnotherScript) {
    constexpr int cyrillicDe = 0x0414;  // on the key of the Latin "L"
    constexpr int left = 0x01000012;
    EXPECT_EQ(keyCodeOf('Y', 52), KeyCode::y);
    EXPECT_EQ(keyCodeOf('Z', 29), std::nullopt) << "where other keyboards have their Y";
    EXPECT_EQ(keyCodeOf(cyrillicDe, 46), KeyCode::l);
    EXPECT_EQ(keyCodeOf(cyrillicDe, 0), std::nullopt);
    EXPECT_EQ(keyCodeOf(left, 46), std::nullopt);
    EXPECT_EQ(systemHotKey(49, 2048), (SystemHotKey{' ', 8, "ALT+space"}));
    EXPECT_EQ(systemHotKey(16, 256 | 512 | 4096), (SystemHotKey{'y', 4 | 1 | 64, "SHIFT+CTRL+LOGO+y"}));
    EXPECT_EQ(systemHotKey(1000, 0), std::nullopt);
    EXPECT_EQ(systemHotKey(49, 1), std::nullopt);
}

}  // namespace
}  // namespace dovra
