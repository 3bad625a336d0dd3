#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "Platform/ApplicationSupport.hpp"
#include "Support/FileFacts.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

class ApplicationSupport : public testing::Test {
protected:
    ApplicationSupport() {
        ::setenv("HOME", tree_.path("home").c_str(), 1);
        ::unsetenv("XDG_DATA_HOME");
    }

    test::TemporaryTree tree_;
};

TEST_F(ApplicationSupport, IsMadeForTheUserAlone) {
    tree_.makeFolder("home/.local");
    const unsigned before = test::modeOf(tree_.path("home/.local"));
    EXPECT_EQ(applicationSupportFolder(), tree_.path("home/.local/share/Dovra"));
    EXPECT_EQ(test::modeOf(tree_.path("home/.local")), before);
    EXPECT_EQ(test::modeOf(tree_.path("home/.local/share")), 0700U);
    EXPECT_EQ(test::modeOf(tree_.path("home/.local/share/Dovra")), 0700U);
    EXPECT_EQ(applicationSupportFolder(), tree_.path("home/.local/share/Dovra"));
}

TEST_F(ApplicationSupport, FollowsAnAbsoluteDataHome) {
    ::setenv("XDG_DATA_HOME", tree_.path("a/b").c_str(), 1);
    EXPECT_EQ(applicationSupportFolder(), tree_.path("a/b/Dovra"));
    for (const char* ignored : {"", "relative", "./a", "~/a"}) {
        ::setenv("XDG_DATA_HOME", ignored, 1);
        EXPECT_EQ(applicationSupportFolder(), tree_.path("home/.local/share/Dovra")) << ignored;
    }
}

TEST_F(ApplicationSupport, IsAbsentWhereItCannotBe) {
    ::setenv("XDG_DATA_HOME", tree_.write("file").c_str(), 1);
    EXPECT_EQ(applicationSupportFolder(), std::nullopt);
    tree_.write("home/.local/share/Dovra", "a file");
    ::unsetenv("XDG_DATA_HOME");
    EXPECT_EQ(applicationSupportFolder(), std::nullopt);
}

}  // namespace
}  // namespace dovra
