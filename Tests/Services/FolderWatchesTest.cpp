#include <atomic>
#include <cstddef>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "Platform/Linux/InotifyWatch.hpp"
#include "Platform/OpenFolder.hpp"
#include "Support/FollowedTree.hpp"
#include "Support/InMemory.hpp"
#include "Support/Privileges.hpp"
#include "Support/TemporaryTree.hpp"
#include "Support/TreeScript.hpp"

namespace dovra {
namespace {

using testing::HasSubstr;

TEST(FolderWatches, AreSetWhenAFolderThatWasForbiddenFromTheStartIsNot) {
    const test::OrdinaryUser user;
    if (!user.isOrdinary()) GTEST_SKIP() << "root may enter every folder";
    test::FollowedTree followed(WatchMechanism::watches, {.root = "root"});
    ASSERT_TRUE(followed.follows("write ../closed/a/b; forbid ../closed/a; rename ../closed closed"));
    EXPECT_THAT(followed.source->coverage(), HasSubstr("1 folder not watched"));
    ASSERT_TRUE(followed.follows("allow closed/a"));
    ASSERT_TRUE(followed.follows("write closed/a/more"));
    EXPECT_THAT(followed.source->coverage(), testing::Not(HasSubstr("not watched")));
}

TEST(FolderWatches, FindInARewoundFolderWhatCameSinceItWasOpened) {
    const test::TemporaryTree tree;
    const auto folder = OpenFolder::open(tree.path());
    tree.write("file");
    FolderListing listing;
    folder.value().rewind();
    EXPECT_TRUE(folder.value().list(ListingDetail::namesAndTypes, listing));
    EXPECT_EQ(listing.count(), 1U);
}

/// How many of some folders, made while the folder above them is watched again and again, get no watch.
std::size_t unwatchedOf(std::size_t count) {
    const test::InMemory inMemory;
    const test::TemporaryTree tree;
    auto watch = InotifyWatch::open({.enters = [](const std::string&) { return true; },
                                     .reportLimit = [] {},
                                     .maxWatches = count + 1,
                                     .stop = {}});
    watch.value().addTree(tree.path());
    std::atomic<bool> isWriting = true;
    std::thread writer([&] {
        for (std::size_t i = 0; i < count; ++i)
            tree.makeFolder(std::to_string(i));
        isWriting = false;
    });
    while (isWriting)
        watch->drain();
    writer.join();
    watch->drain();
    return count + 1 - watch->watchCount();
}

TEST(FolderWatches, MissNothingWhileTheyAreSetAgain) {
    // The kernel's window is small: one round in five hits it.
    for (int round = 0; round < 12; ++round)
        ASSERT_EQ(unwatchedOf(4000), 0U);
}

/// The disk is ahead of the events: a former parent, or another folder, is in place of a reported folder.
TEST(FolderWatches, TakeNoFolderForAnother) {
    std::string entered;
    std::string meanwhile;
    test::FollowedTree followed(
        WatchMechanism::watches,
        {.root = {}, .entersFolder = [&](std::string_view path) {
             if (path.ends_with("/new") && !meanwhile.empty()) {
                 const bool isA = path.ends_with("a/new");
                 const std::string line = std::exchange(meanwhile, "");
                 EXPECT_TRUE(test::perform(entered, fmt::format(fmt::runtime(line), isA ? "b" : "a")));
             }
             return true;
         }});
    entered = followed.root;
    const struct {
        const char* before;
        const char* told;
        const char* meanwhile;
        const char* folder;
    } cases[] = {
        {"folder a/b", "folder a/b/new", "rename a/b b; remove b/new; rename a b/new", "b/new"},
        {"remove b; folder a; folder b", "folder a/new; folder b/new", "rename {0} moved; folder {0}/new",
         "moved/new"},
    };
    for (const auto& each : cases) {
        ASSERT_TRUE(followed.follows(each.before));
        ASSERT_TRUE(test::perform(followed.root, each.told));
        meanwhile = each.meanwhile;
        followed.follow();
        ASSERT_TRUE(followed.follows(fmt::format("write {}/file", each.folder)));
        ASSERT_TRUE(followed.follows(fmt::format("write {}/more", each.folder)));
    }
}

}  // namespace
}  // namespace dovra
