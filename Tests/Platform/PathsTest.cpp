#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <pwd.h>
#include <string>
#include <unistd.h>
#include <utility>

#include "Platform/Paths.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

TEST(StandardizedPath, IsAbsoluteAndHasNoDots) {
    const std::string here = std::filesystem::current_path().string();
    ::setenv("HOME", "/homes/me/", 1);
    const std::string root = ::getpwnam("root")->pw_dir;
    const std::pair<const char*, std::string> cases[] = {
        {"", ""},
        {"/", "/"},
        {"/../../a", "/a"},
        {"/a//b/./c/../d", "/a/b/d"},
        {"~", "/homes/me"},
        {"~/../x", "/homes/x"},
        {"/a/~", "/a/~"},
        {"~root/x", root + "/x"},
        {"~no such user/x", here + "/~no such user/x"},
        {".", here},
        {"/\xFF\n", "/\xFF\n"},
    };
    for (const auto& [path, expected] : cases)
        EXPECT_EQ(standardizedPath(path), expected) << path;
    // Without the variable the user database knows the home folder.
    const std::string home = ::getpwuid(::getuid())->pw_dir;
    for (const char* unusable : {"", "relative"}) {
        ::setenv("HOME", unusable, 1);
        EXPECT_EQ(standardizedPath("~/x"), home + "/x");
    }
}

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
