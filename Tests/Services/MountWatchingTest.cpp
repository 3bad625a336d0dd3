#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Support/FollowedTree.hpp"
#include "Support/TreeScript.hpp"
#include "Support/WatchMechanisms.hpp"

namespace dovra {
namespace {

using testing::Contains;
using testing::IsEmpty;

struct Script {
    const char* name;
    std::vector<std::string> steps;  ///< after each, the index equals a fresh scan
};

const Script scripts[] = {
    {"mounts that come and go",
     {"folder place/hidden", "tmpfs place", "write place/inside/file", "write place/inside/later",
      "umount place", "write place/hidden/file", "tmpfs place", "write place/inside/file", "umount place",
      "write place/hidden/file"}},
    {"one folder at two places",
     {"write origin/folder/file", "folder place", "bind origin place", "write origin/folder/more/seen twice",
      "write place/folder/more/both", "umount place"}},
    {"a file system of the kernel's, which is not entered",
     {"write place/hidden/file", "proc place", "umount place"}},
    // The next file system looks in the table of mounts like the one before.
    {"a quick exchange of one file system for another",
     {"folder place", "tmpfs place", "write place/before/file", "umount place; tmpfs place",
      "write place/after/file", "write place/after/deeper/file", "detach place; tmpfs place",
      "write place/after/file", "write place/after/deeper/file", "umount place"}},
    {"mounts over mounts",
     {"folder place", "tmpfs place", "write place/lower/file", "tmpfs place", "write place/upper/file",
      "umount place", "write place/lower/more/file", "umount place"}},
    {"the exchange of one of two mounts of a file system",
     {"folder place", "folder second", "tmpfs place", "bind place second", "write place/folder/file",
      "umount place; tmpfs place", "write place/other/file; write second/folder/more", "umount place",
      "umount second"}},
};

class MountWatching : public testing::TestWithParam<WatchMechanism> {};

INSTANTIATE_TEST_SUITE_P(, MountWatching, test::everyMechanism, test::mechanismName);

TEST_P(MountWatching, FollowsScripts) {
    for (const Script& script : scripts) {
        SCOPED_TRACE(script.name);
        const auto run = [&] {
            test::FollowedTree followed(GetParam());
            for (const std::string& step : script.steps) {
                ASSERT_TRUE(test::perform(followed.tree.path(), step)) << step;
                ASSERT_THAT(followed.differencesAfterFlush(), IsEmpty()) << step;
            }
        };
        if (!test::withOwnMounts(run)) GTEST_SKIP() << "this user may not mount";
    }
}

/// The devices that are watched are those that a scan would enter now, not those of the start.
TEST_P(MountWatching, FollowsAVolumeThatIsMountedLater) {
    const auto run = [] {
        std::string place;
        test::FollowedTree followed(GetParam(),
                                    {.root = {}, .allowedDevices = [&] {
                                         return std::vector<DeviceId>{
                                             folderStamp(place.substr(0, place.rfind('/'))).device,
                                             folderStamp(place).device};
                                     }});
        place = followed.tree.makeFolder("place");
        ASSERT_TRUE(test::perform(followed.tree.path(), "tmpfs place"));
        EXPECT_THAT(followed.follow().subtrees, Contains(place));
        followed.tree.write("place/file");
        EXPECT_THAT(followed.differencesAfterFlush(), IsEmpty());
        ASSERT_TRUE(test::perform(followed.tree.path(), "umount place"));
    };
    if (!test::withOwnMounts(run)) GTEST_SKIP() << "this user may not mount";
}

TEST_P(MountWatching, TellsNothingOfMountsElsewhere) {
    const auto run = [] {
        test::FollowedTree followed(GetParam());
        const test::TemporaryTree elsewhere;
        ASSERT_TRUE(test::perform(elsewhere.path(), "tmpfs ."));
        EXPECT_THAT(followed.follow().subtrees, IsEmpty());
        ASSERT_TRUE(test::perform(elsewhere.path(), "umount ."));
    };
    if (!test::withOwnMounts(run)) GTEST_SKIP() << "this user may not mount";
}

}  // namespace
}  // namespace dovra
