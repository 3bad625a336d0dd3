#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <thread>
#include <vector>

#include "Index/ChangeApplication.hpp"
#include "Platform/EventStream.hpp"
#include "Support/FreshScan.hpp"
#include "Support/TemporaryTree.hpp"
#include "Support/WatchMechanisms.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::IsEmpty;

namespace fs = std::filesystem;

/// Gives the calling thread, and those that it starts, mounts of their own.
bool enterOwnMounts() {
    return ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

/// A tree with an index that a stream keeps current. All threads are started by the caller's and see its
/// mounts.
class StreamedTree {
public:
    explicit StreamedTree(WatchMechanism mechanism) : stream_(open(mechanism), 10ms) {
        crawl(index, {tree.path()}, {});
        stream_.goLive([this](const ChangeBatch& batch) { applyChanges(index, batch); });
    }

    std::vector<std::string> differencesAfterFlush() {
        if (!stream_.flush(20s)) return {"the flush took too long"};
        return test::differencesFromFreshScan(index, tree.path());
    }

    const test::TemporaryTree tree;
    FileIndex index;

private:
    std::unique_ptr<EventSource> open(WatchMechanism mechanism) const {
        fs::create_directories(tree.path("place/hidden"));
        WatchOptions options;
        options.root = tree.path();
        options.mechanism = mechanism;
        return openEventSource(options);
    }

    EventStream stream_;
};

void followMounts(WatchMechanism mechanism) {
    StreamedTree watched(mechanism);
    const std::string place = watched.tree.path("place");
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(::mount("tmpfs", place.c_str(), "tmpfs", 0, nullptr), 0);
        watched.tree.write("place/inside/file");
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
        watched.tree.write("place/inside/later");
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
        ASSERT_EQ(::umount(place.c_str()), 0) << "what is watched can be unmounted";
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
        watched.tree.write("place/hidden/file");
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    }
}

void followBindMounts(WatchMechanism mechanism) {
    StreamedTree watched(mechanism);
    watched.tree.write("origin/folder/file");
    const std::string place = watched.tree.path("place");
    ASSERT_EQ(::mount(watched.tree.path("origin").c_str(), place.c_str(), nullptr, MS_BIND, nullptr), 0);
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    watched.tree.write("origin/folder/more/seen twice");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    watched.tree.write("place/folder/more/again", "both");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    ASSERT_EQ(::umount(place.c_str()), 0);
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
}

void forgetWhatAKernelFileSystemHides(WatchMechanism mechanism) {
    StreamedTree watched(mechanism);
    const std::string place = watched.tree.path("place");
    ASSERT_EQ(::mount("proc", place.c_str(), "proc", 0, nullptr), 0);
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    ASSERT_EQ(::umount(place.c_str()), 0);
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
}

/// Mounts a new file system of the same kind as before, so that nothing in the table of mounts tells the two
/// apart.
bool mountMemory(const std::string& place) {
    return ::mount("tmpfs", place.c_str(), "tmpfs", 0, nullptr) == 0;
}

void followAQuickExchange(WatchMechanism mechanism) {
    StreamedTree watched(mechanism);
    const std::string place = watched.tree.path("place");
    ASSERT_TRUE(mountMemory(place));
    watched.tree.write("place/before/file");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    for (const int flags : {0, static_cast<int>(MNT_DETACH)}) {
        ASSERT_EQ(::umount2(place.c_str(), flags), 0);
        ASSERT_TRUE(mountMemory(place));
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
        watched.tree.write("place/after/file");
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
        watched.tree.write("place/after/deeper/file");
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    }
    ASSERT_EQ(::umount(place.c_str()), 0);
}

void followMountsOverMounts(WatchMechanism mechanism) {
    StreamedTree watched(mechanism);
    const std::string place = watched.tree.path("place");
    ASSERT_TRUE(mountMemory(place));
    watched.tree.write("place/lower/file");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    ASSERT_TRUE(mountMemory(place));
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    watched.tree.write("place/upper/file");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    ASSERT_EQ(::umount(place.c_str()), 0);
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    watched.tree.write("place/lower/more/file");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    ASSERT_EQ(::umount(place.c_str()), 0);
}

/// One file system at two places, of which the one goes and another file system takes its place.
void followAnExchangeOfOneOfTwo(WatchMechanism mechanism) {
    StreamedTree watched(mechanism);
    const std::string place = watched.tree.path("place");
    const std::string second = watched.tree.makeFolder("second");
    ASSERT_TRUE(mountMemory(place));
    ASSERT_EQ(::mount(place.c_str(), second.c_str(), nullptr, MS_BIND, nullptr), 0);
    watched.tree.write("place/folder/file");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    ASSERT_EQ(::umount(place.c_str()), 0);
    ASSERT_TRUE(mountMemory(place));
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    watched.tree.write("place/other/file");
    watched.tree.write("second/folder/more");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    ASSERT_EQ(::umount(place.c_str()), 0);
    ASSERT_EQ(::umount(second.c_str()), 0);
}

/// The devices that are watched are those that a scan would enter now, not those of the start.
void followAVolumeThatIsMountedLater(WatchMechanism mechanism) {
    const test::TemporaryTree tree;
    const std::string place = tree.makeFolder("place");
    WatchOptions options;
    options.root = tree.path();
    options.mechanism = mechanism;
    options.allowedDevices = [&] {
        return std::vector<DeviceId>{folderStamp(tree.path()).device, folderStamp(place).device};
    };
    const auto source = openEventSource(options);
    ASSERT_NE(source, nullptr);
    ASSERT_TRUE(mountMemory(place));
    source->drain();
    EXPECT_THAT(source->take({})->subtrees, Contains(place));
    tree.write("place/file");
    source->drain();
    EXPECT_THAT(source->take({})->paths, Contains(place));
    ASSERT_EQ(::umount(place.c_str()), 0);
}

void tellNothingOfMountsElsewhere(WatchMechanism mechanism) {
    const test::TemporaryTree tree;
    const test::TemporaryTree elsewhere;
    WatchOptions options;
    options.root = tree.path();
    options.mechanism = mechanism;
    const auto source = openEventSource(options);
    ASSERT_NE(source, nullptr);
    ASSERT_TRUE(mountMemory(elsewhere.path()));
    source->drain();
    EXPECT_THAT(source->take({})->subtrees, IsEmpty());
    ASSERT_EQ(::umount(elsewhere.path().c_str()), 0);
}

class MountWatching : public testing::TestWithParam<WatchMechanism> {
protected:
    /// Runs on a thread of its own, so that the mounts of the other tests stay as they are.
    static void run(void (*body)(WatchMechanism)) {
        bool hasMounts = false;
        std::thread([&] {
            hasMounts = enterOwnMounts();
            if (hasMounts) body(GetParam());
        }).join();
        if (!hasMounts) GTEST_SKIP() << "this user may not mount";
    }
};

INSTANTIATE_TEST_SUITE_P(, MountWatching, test::everyMechanism, test::mechanismName);

TEST_P(MountWatching, FollowsMountsThatComeAndGo) {
    run(followMounts);
}

TEST_P(MountWatching, FollowsOneFolderAtTwoPlaces) {
    run(followBindMounts);
}

TEST_P(MountWatching, FollowsAQuickExchangeOfOneFileSystemForAnother) {
    run(followAQuickExchange);
}

TEST_P(MountWatching, FollowsMountsOverMounts) {
    run(followMountsOverMounts);
}

TEST_P(MountWatching, FollowsTheExchangeOfOneOfTwoMounts) {
    run(followAnExchangeOfOneOfTwo);
}

TEST_P(MountWatching, FollowsAVolumeThatIsMountedLater) {
    run(followAVolumeThatIsMountedLater);
}

TEST_P(MountWatching, TellsNothingOfMountsElsewhere) {
    run(tellNothingOfMountsElsewhere);
}

TEST_P(MountWatching, ForgetsWhatAKernelFileSystemHides) {
    run(forgetWhatAKernelFileSystemHides);
}

}  // namespace
}  // namespace dovra
