#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <string>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "Base/PathText.hpp"
#include "Platform/Descriptor.hpp"
#include "Support/FollowedTree.hpp"
#include "Support/Privileges.hpp"
#include "Support/TreeScript.hpp"
#include "Support/WatchMechanisms.hpp"

namespace dovra {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// The index equals a fresh scan after each step.
const std::vector<std::string> scripts[] = {
    // Mounts that come and go.
    {"folder place/hidden", "tmpfs place", "write place/inside/file", "write place/inside/later",
     "umount place", "write place/hidden/file", "tmpfs place", "write place/inside/file", "umount place",
     "write place/hidden/file"},
    // One folder at two places.
    {"write origin/folder/file", "folder place", "bind origin place", "write origin/folder/more/seen twice",
     "write place/folder/more/both", "umount place"},
    // A file system of the kernel's own, which a scan does not enter.
    {"write place/hidden/file", "touch place long-ago", "proc place", "umount place"},
    // A quick exchange of one file system for another. Both look the same in the table of mounts.
    {"folder place", "tmpfs place", "write place/before/file", "umount place; tmpfs place",
     "write place/after/file", "write place/after/deeper/file", "detach place; tmpfs place",
     "write place/after/file", "write place/after/deeper/file", "umount place"},
    // Mounts over mounts.
    {"folder place", "tmpfs place", "write place/lower/file", "tmpfs place", "write place/upper/file",
     "umount place", "write place/lower/more/file", "umount place"},
    // The exchange of one of two mounts of a file system.
    {"folder place", "folder second", "tmpfs place", "bind place second", "write place/folder/file",
     "umount place; tmpfs place", "write place/other/file; write second/folder/more", "umount place",
     "umount second"},
    // A folder that is renamed with a mount in it.
    {"folder a/place", "tmpfs a/place", "write a/place/inside/file", "rename a b",
     "write b/place/inside/more", "rename b c; umount c/place", "write c/place/below"},
    // An older mount moved into a younger one.
    {"folder old; folder young", "tmpfs old", "write old/inside/file", "tmpfs young; folder young/z",
     "move old young/z", "write young/z/inside/more", "umount young/z", "umount young"},
    // A mount that was made before its place was reported.
    {"folder a/place; tmpfs a/place; write a/place/file", "umount a/place", "write a/place/below/file",
     "write a/place/below/more"},
    // A mount that hides another one together with its folder.
    {"folder place/inner", "tmpfs place/inner", "write place/inner/file", "tmpfs place", "write place/other",
     "umount place", "write place/inner/folder/more", "umount place/inner"},
};

void follow(WatchMechanism mechanism) {
    for (const auto& steps : scripts) {
        test::FollowedTree followed(mechanism);
        for (const std::string& step : steps)
            ASSERT_TRUE(followed.follows(step)) << testing::PrintToString(steps);
    }
}

/// Shows the calling thread a kernel that reuses mount numbers, as kernels before 6.8 do.
void forgetUniqueMountNumbers() {
    constexpr unsigned uniqueMountNumber = 0x4000;
    constexpr auto argument = offsetof(seccomp_data, args) + 3 * sizeof(std::uint64_t);
    sock_filter filter[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_statx, 0, 3),
                            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, argument),
                            BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, uniqueMountNumber, 0, 1),
                            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EINVAL),
                            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const sock_fprog program{.len = std::size(filter), .filter = filter};
    ASSERT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
}

class OwnMounts : public testing::Test {
protected:
    void SetUp() override {
        if (!test::leaveMounts()) GTEST_SKIP() << "this user may not mount";
    }
};

class MountWatching : public OwnMounts, public testing::WithParamInterface<WatchMechanism> {};

INSTANTIATE_TEST_SUITE_P(, MountWatching, test::everyMechanism, test::mechanismName);

TEST_P(MountWatching, FollowsScripts) {
    follow(GetParam());
}

TEST_P(MountWatching, FollowsScriptsOnKernelsThatHardlyTellMountsApart) {
    std::jthread([] {
        forgetUniqueMountNumbers();
        follow(GetParam());
    }).join();
}

/// The watched devices are those that a scan would enter now, not those of the start.
TEST_P(MountWatching, FollowsAVolumeThatIsMountedLater) {
    std::string place;
    test::FollowedTree followed(GetParam(), {.root = {}, .allowedDevices = [&] {
                                                 return std::vector<DeviceId>{
                                                     folderStamp(std::string(parentPath(place))).device,
                                                     folderStamp(place).device};
                                             }});
    place = followed.tree.makeFolder("place");
    ASSERT_TRUE(test::perform(followed.tree.path(), "tmpfs place"));
    EXPECT_THAT(followed.follow().subtrees, Contains(place));
    followed.tree.write("place/file");
    EXPECT_THAT(followed.differencesAfterFlush(), IsEmpty());
    ASSERT_TRUE(test::perform(followed.tree.path(), "umount place"));
}

TEST_P(MountWatching, TellsNothingOfMountsElsewhere) {
    test::FollowedTree followed(GetParam());
    const test::TemporaryTree elsewhere;
    ASSERT_TRUE(test::perform(elsewhere.path(), "tmpfs ."));
    EXPECT_THAT(followed.follow().subtrees, IsEmpty());
    ASSERT_TRUE(test::perform(elsewhere.path(), "umount ."));
}

/// The mount stays in its place, and is empty from then on.
TEST_P(MountWatching, TellsThePlaceOfAFolderThatIsRemovedWhereItComesFrom) {
    test::FollowedTree followed(GetParam(), {.root = "watched"});
    const std::string place = followed.tree.makeFolder("watched/place");
    ASSERT_TRUE(test::perform(followed.tree.path(), "write origin/file; bind origin watched/place"));
    followed.follow();
    ASSERT_TRUE(test::perform(followed.tree.path(), "remove origin"));
    const std::vector<std::string> told = followed.follow().subtrees;
    EXPECT_TRUE(std::ranges::count(told, place) + std::ranges::count(followed.source->polledTrees(), place));
    ASSERT_TRUE(test::perform(followed.tree.path(), "umount watched/place"));
}

TEST_P(MountWatching, CountsNoMountThatIsHidden) {
    if (GetParam() == WatchMechanism::polling) return;
    test::FollowedTree followed(GetParam());
    const std::string before = followed.source->coverage();
    ASSERT_TRUE(
        test::perform(followed.root, "folder place/inner; tmpfs place/inner; tmpfs place; tmpfs place"));
    followed.follow();
    const bool isWhole = before.starts_with("1 whole");
    EXPECT_EQ(followed.source->coverage(),
              isWhole ? "2 whole file systems (fanotify)" : "2 folders (inotify)");
    ASSERT_TRUE(test::perform(followed.root, "umount place; umount place; umount place/inner"));
}

TEST_F(OwnMounts, HideWhatWholeFileSystemsTell) {
    test::FollowedTree followed(WatchMechanism::best);
    const Descriptor hidden(::open(followed.tree.makeFolder("place").c_str(), O_PATH | O_CLOEXEC));
    ASSERT_TRUE(test::perform(followed.root, "tmpfs place"));
    followed.follow();
    ASSERT_EQ(::mkdirat(hidden.number(), "hidden", 0700), 0);
    EXPECT_TRUE(followed.follow().empty());
    EXPECT_TRUE(followed.follows("umount place"));
}

/// Whether a change below the root is reported to a process whose mounts have no path to the root.
bool watchesInsideAnotherRoot(const test::TemporaryTree& tree, WatchMechanism mechanism) {
    if (!test::perform(tree.path(), "folder proc; folder root; proc proc")) return false;
    if (::chroot(tree.path().c_str()) != 0 || ::chdir("/") != 0) return false;
    const auto source = openEventSource({.root = "/root", .mechanism = mechanism});
    if (!test::perform("/root", "write file")) return false;
    return source->take({})->files == std::vector<std::string>{"/root/file"} ||
           (mechanism == WatchMechanism::polling && !source->polledTrees().empty());
}

TEST_P(MountWatching, FollowsBelowARootThatIsNoMount) {
    const test::InMemory inMemory;
    const test::TemporaryTree tree;
    EXPECT_TRUE(test::inAChild([&] { return watchesInsideAnotherRoot(tree, GetParam()); }));
    ASSERT_TRUE(test::perform(tree.path(), "umount proc"));
}

TEST_F(OwnMounts, AreNamedUntilTheyCanBeWatched) {
    test::FollowedTree followed(WatchMechanism::watches);
    ASSERT_TRUE(test::perform(followed.root, "allow .; folder place; tmpfs place; forbid place"));
    {
        const test::OrdinaryUser user;
        followed.follow();
        EXPECT_THAT(followed.source->coverage(), HasSubstr("not watched: " + followed.path("place")));
    }
    ASSERT_TRUE(test::perform(followed.root, "allow place; write place/inside/file"));
    {
        const test::OrdinaryUser user;
        EXPECT_THAT(followed.differencesAfterFlush(), IsEmpty());
        EXPECT_THAT(followed.source->coverage(), Not(HasSubstr("not watched")));
    }
    EXPECT_TRUE(followed.follows("write place/inside/more"));
    ASSERT_TRUE(test::perform(followed.root, "umount place"));
}

}  // namespace
}  // namespace dovra
