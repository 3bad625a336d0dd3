#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>

#include "Platform/ApplicationSupport.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

TEST(ApplicationSupport, FollowsAnAbsoluteDataHomeAndIsAbsentWhereItCannotBe) {
    const test::TemporaryTree tree;
    ::setenv("HOME", tree.makeFolder("home").c_str(), 1);
    for (const char* ignored : {"", "relative", "./a", "~/a"}) {
        ::setenv("XDG_DATA_HOME", ignored, 1);
        EXPECT_EQ(applicationSupportFolder(), tree.path("home/.local/share/Dovra")) << ignored;
    }
    tree.write("taken/Dovra", "a file");
    for (const char* impossible : {"taken", "taken/Dovra"}) {
        ::setenv("XDG_DATA_HOME", tree.path(impossible).c_str(), 1);
        EXPECT_EQ(applicationSupportFolder(), std::nullopt) << impossible;
    }
}

}  // namespace
}  // namespace dovra
