#include <gtest/gtest.h>

#include "Base/Theme.hpp"

namespace dovra {
namespace {

TEST(Theme, GivesTheAccentToTerminalsAndToBothAppearances) {
    EXPECT_EQ(theme::accent.dark.ansiForeground(true), "\x1b[38;2;207;58;78m");
    EXPECT_EQ(theme::accent.dark.ansiForeground(false), "");
    EXPECT_EQ(theme::accent.under(Appearance::light).r, 0x9B);
    EXPECT_EQ(theme::accent.under(Appearance::dark).r, 0xCF);
}

}  // namespace
}  // namespace dovra
