#include <array>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Platform/RegularFile.hpp"
#include "Support/DeepFile.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

TEST(RegularFile, ReadsFromAnyOffset) {
    const test::TemporaryTree tree;
    const auto file = RegularFile::open(tree.write("a", "0123456789"));
    ASSERT_TRUE(file);
    EXPECT_EQ(file->size(), 10);
    std::array<char, 4> buffer{};
    EXPECT_EQ(file->readAt(8, buffer), 2);
    EXPECT_EQ(std::string(buffer.data(), 2), "89");
    EXPECT_EQ(file->readAt(10, buffer), 0);
    EXPECT_EQ(file->readAt(~std::uint64_t{0}, buffer), std::nullopt);
}

TEST(RegularFile, OpensNothingElse) {
    const test::TemporaryTree tree;
    const std::string pipe = tree.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    std::filesystem::create_symlink("pipe", tree.path("link to pipe"));
    for (const std::string& path : {pipe, tree.path("link to pipe"), tree.path(), std::string("/dev/null"),
                                    tree.path("absent"), std::string()})
        EXPECT_FALSE(RegularFile::open(path) || RegularFile::openKnown(path)) << path;
    const auto file = RegularFile::openKnown(tree.write("a"));
    std::filesystem::create_symlink("a", tree.path("link"));
    EXPECT_FALSE(RegularFile::openKnown(tree.path("link")));
    const auto other = RegularFile::open(tree.path("link"));
    ASSERT_TRUE(file && other);
    EXPECT_EQ(std::pair(other->inode(), other->device()), std::pair(file->inode(), file->device()));
}

TEST(RegularFile, StaysBelowTheRoot) {
    const test::TemporaryTree tree;
    tree.write("root/a");
    tree.write("root/in/b");
    tree.write("secret");
    std::filesystem::create_symlink("a", tree.path("root/link"));
    std::filesystem::create_symlink("in", tree.path("root/folder"));
    std::filesystem::create_symlink("root", tree.path("way"));
    ASSERT_EQ(::mkfifo(tree.path("root/pipe").c_str(), 0600), 0);
    for (const char* path : {"a", "in/b", "in/../a"})
        EXPECT_TRUE(RegularFile::openBelow(tree.path("way"), path)) << path;
    using namespace std::string_literals;
    for (const std::string& path :
         {"../secret"s, "in/../../secret"s, tree.path("root/a"), "link"s, "folder/b"s, "pipe"s, "in"s,
          "a\0b"s, ""s, "/proc/self/root"s + tree.path("secret")})
        EXPECT_FALSE(RegularFile::openBelow(tree.path("root"), path)) << path;
    const test::DeepFile deep(tree.path(), "deep");
    EXPECT_TRUE(RegularFile::openBelow(tree.path(), deep.path.substr(tree.path().size() + 1)));
}

TEST(RegularFile, OpensPathsLongerThanTheSystemTakes) {
    const test::TemporaryTree tree;
    const test::DeepFile deep(tree.path(), "deep");
    ASSERT_GT(deep.path.size(), 8000);
    // Each number of extra slashes moves the ends of the pieces; some fall between two slashes.
    const std::string below = deep.path.substr(tree.path().size());
    for (std::size_t slashes = 0; slashes < 220; ++slashes) {
        std::string doubled = tree.path() + std::string(slashes, '/') + below;
        for (std::size_t at = doubled.rfind('/'); at > tree.path().size() + slashes;
             at = doubled.rfind('/', at - 1))
            doubled.insert(at, 1, '/');
        const auto file = RegularFile::openKnown(doubled);
        ASSERT_TRUE(file) << slashes;
        ASSERT_EQ(file->size(), 4);
    }
    EXPECT_FALSE(RegularFile::open(deep.path + "/"));
    EXPECT_FALSE(RegularFile::open("/" + std::string(9000, 'x')));
}

}  // namespace
}  // namespace dovra
