#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <utility>

#include "Platform/Descriptor.hpp"
#include "Support/FollowedTree.hpp"
#include "Support/Privileges.hpp"
#include "Support/TreeScript.hpp"

namespace dovra {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

class Rights : public testing::TestWithParam<std::pair<const char*, const char*>> {};

INSTANTIATE_TEST_SUITE_P(, Rights,
                         testing::Values(std::pair("root", "root"), std::pair("root", "root/a"),
                                         std::pair("root", "root/a/b"), std::pair("root/a", "root")));

/// While a folder may not be entered, things are done below it by who was there before.
TEST_P(Rights, AreFollowedWhenTheyComeBack) {
    const test::OrdinaryUser user;
    if (!user.isOrdinary()) GTEST_SKIP() << "root may enter every folder";
    const auto& [root, folder] = GetParam();
    test::FollowedTree followed(WatchMechanism::watches, {.root = root});
    const std::string place = followed.path(folder);
    followed.tree.write("root/a/b/c/file");
    followed.follow();
    const Descriptor inside(::open(followed.path("root/a/b/c").c_str(), O_PATH | O_CLOEXEC));
    const auto forbid = [&] { return ::chmod(place.c_str(), 0) == 0; };
    const auto allow = [&] { return ::chmod(place.c_str(), 0700) == 0; };
    ASSERT_TRUE(forbid());
    ASSERT_EQ(::renameat(inside.number(), "file", inside.number(), "renamed"), 0);
    followed.follow();
    EXPECT_THAT(followed.source->coverage(), HasSubstr("not watched"));
    ASSERT_TRUE(allow());
    ASSERT_THAT(followed.differencesAfterFlush(), IsEmpty());
    ASSERT_TRUE(forbid());
    ASSERT_EQ(::mkdirat(inside.number(), "new", 0700), 0);
    followed.follow();
    ASSERT_EQ(::mkdirat(inside.number(), "new/deeper", 0700), 0);
    followed.follow();
    ASSERT_TRUE(allow());
    EXPECT_THAT(followed.differencesAfterFlush(), IsEmpty());
    EXPECT_THAT(followed.source->coverage(), testing::Not(HasSubstr("not watched")));
    followed.tree.write("root/a/b/c/new/deeper/file");
    EXPECT_THAT(followed.differencesAfterFlush(), IsEmpty());
}

TEST(FolderWatches, AreSetWhenAFolderThatWasForbiddenFromTheStartIsNot) {
    const test::OrdinaryUser user;
    if (!user.isOrdinary()) GTEST_SKIP() << "root may enter every folder";
    const test::InMemory inMemory;
    const test::TemporaryTree outside;
    test::FollowedTree followed(WatchMechanism::watches);
    outside.write("closed/inner/file");
    ASSERT_TRUE(test::perform(outside.path(), "forbid closed/inner"));
    fs::rename(outside.path("closed"), followed.path("closed"));
    ASSERT_THAT(followed.differencesAfterFlush(), IsEmpty());
    EXPECT_THAT(followed.source->coverage(), HasSubstr("1 folder not watched"));
    ASSERT_TRUE(followed.follows("allow closed/inner"));
    EXPECT_TRUE(followed.follows("write closed/inner/more"));
    EXPECT_THAT(followed.source->coverage(), testing::Not(HasSubstr("not watched")));
}

/// The disk is ahead of the events: where a new folder was told, one that lay above is found.
TEST(FolderWatches, TakeNoFolderForOneBelowItself) {
    std::function<void()> meanwhile = [] {};
    test::FollowedTree followed(WatchMechanism::watches,
                                {.root = {}, .entersFolder = [&](std::string_view path) {
                                     if (path.ends_with("/new")) std::exchange(meanwhile, [] {})();
                                     return true;
                                 }});
    followed.tree.makeFolder("a/b");
    followed.follow();
    followed.tree.makeFolder("a/b/new");
    meanwhile = [&] {
        ASSERT_TRUE(test::perform(followed.root, "rename a/b b; remove b/new; rename a b/new"));
    };
    followed.follow();
    ASSERT_TRUE(followed.follows("write b/new/file"));
    EXPECT_TRUE(followed.follows("write b/new/more"));
}

/// The disk is ahead of the events: another folder is where a new one was told to be.
TEST(FolderWatches, TakeNoFolderForAnother) {
    std::function<void(bool)> meanwhile = [](bool) {};
    test::FollowedTree followed(WatchMechanism::watches,
                                {.root = {}, .entersFolder = [&](std::string_view path) {
                                     if (path.ends_with("/new"))
                                         std::exchange(meanwhile, [](bool) {})(path.ends_with("a/new"));
                                     return true;
                                 }});
    ASSERT_TRUE(test::perform(followed.root, "folder a; folder b"));
    followed.follow();
    ASSERT_TRUE(test::perform(followed.root, "folder a/new; folder b/new"));
    meanwhile = [&](bool isFirst) {
        const std::string other = isFirst ? "b" : "a";
        ASSERT_TRUE(test::perform(followed.root, fmt::format("rename {0} moved; folder {0}/new", other)));
    };
    followed.follow();
    ASSERT_TRUE(followed.follows("write moved/new/file"));
    EXPECT_TRUE(followed.follows("write moved/new/more"));
}

}  // namespace
}  // namespace dovra
