#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Diagnostics/IndexCheck.hpp"
#include "Index/Snapshot.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/RawSnapshot.hpp"
#include "Support/Snapshots.hpp"

namespace dovra {
namespace {

using test::anySubject;
using test::loadBytes;
using test::RawSnapshot;
using test::snapshotOf;
using test::soundSnapshot;
using test::stampOf;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t huge = 0xFFFFFFFF;

/// What is done to a sound file.
using Damage = std::pair<const char*, void (*)(RawSnapshot& raw)>;

/// What a file is loaded into: an index that stays as it is unless the file is loaded, and is sound then.
class Loading {
public:
    explicit Loading(const SnapshotSource& source, const SnapshotSubject& subject = anySubject) {
        const std::uint64_t before = index->generation();
        isLoaded = loadSnapshot(*index, source, subject).has_value();
        EXPECT_THAT(indexViolations(*index), IsEmpty());
        EXPECT_TRUE(isLoaded || (index->generation() == before && !indexDifference(*index, *kept())));
    }

    bool hasStamps() const { return isLoaded && stampOf(*index, 2).isKnown(); }

    static std::unique_ptr<FileIndex> kept() { return test::makeIndex({"/kept/file"}); }

    const std::unique_ptr<FileIndex> index = kept();
    bool isLoaded;
};

Loading loading(const std::string& bytes, const SnapshotSubject& subject = anySubject) {
    return Loading(SnapshotSource::fromBytes(bytes), subject);
}

Loading damaged(const Damage& damage) {
    RawSnapshot raw = soundSnapshot();
    damage.second(raw);
    return loading(raw.bytes());
}

TEST(SnapshotLoader, LoadsWhatTheLayoutSays) {
    FileIndex index;
    const std::uint64_t before = index.generation();
    const auto loaded = loadBytes(index, soundSnapshot().bytes());
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->lastEventId, 1'000'000'000U);
    EXPECT_EQ(loaded->count, 6);
    EXPECT_GT(index.generation(), before);
    EXPECT_EQ(index.itemCount(), 5);
    EXPECT_THAT(test::allPaths(index),
                ElementsAre("/a.txt", "/b", "/b/odd \xFF\n", "/b/c", "/b/c/link", "/late"));
    EXPECT_EQ(stampOf(index, 2), (FolderStamp{.device = 7, .inode = 3, .modified = 30, .changed = 60}));
    const ReadGuard guard(index.rwlock);
    const FileEntry& link = index.entriesLocked()[4];
    EXPECT_EQ(link.size, 104U);
    EXPECT_EQ(link.modTime, 1'600'000'000);
    EXPECT_EQ(link.crTime, -1);
    EXPECT_TRUE(link.isSymbolicLink());
    EXPECT_THAT(index.entriesByDirLocked().ids(0), ElementsAre(0, 1, 5));
}

TEST(SnapshotLoader, LoadsWhatAReaderMustNotMind) {
    RawSnapshot raw = soundSnapshot();
    raw.entries[0].reserved = "other";
    raw.entries[0].modTime = 0x1p63;
    raw.entries[0].crTime = -0x1p63;
    EXPECT_TRUE(loading(raw.bytes()).isLoaded);
}

TEST(SnapshotLoader, RefusesWhatIsUnsoundAndKeepsTheIndex) {
    const Damage cases[] = {
        {"magic", [](RawSnapshot& raw) { raw.magic = "DOVRAIX2"; }},
        {"newer version", [](RawSnapshot& raw) { raw.version = 2; }},
        {"record size", [](RawSnapshot& raw) { raw.entryBytes = 48; }},
        {"other device", [](RawSnapshot& raw) { raw.volumeDev = 8; }},
        {"no directories", [](RawSnapshot& raw) { raw.directoryCount = 0; }},
        {"more directories", [](RawSnapshot& raw) { raw.directoryCount = 4; }},
        {"fewer entries", [](RawSnapshot& raw) { raw.entryCount = 5; }},
        {"most entries", [](RawSnapshot& raw) { raw.entryCount = huge; }},
        {"shorter pool", [](RawSnapshot& raw) { raw.poolBytes = raw.pool.size() - 1; }},
        {"longer path", [](RawSnapshot& raw) { raw.pathLength = 5; }},
        {"empty path", [](RawSnapshot& raw) { raw.directories[2] = ""; }},
        {"relative path", [](RawSnapshot& raw) { raw.directories[2] = "b/c"; }},
        {"relative root", [](RawSnapshot& raw) { raw.directories[0] = "x"; }},
        {"two slashes", [](RawSnapshot& raw) { raw.directories[2] = "/b//c"; }},
        {"dot", [](RawSnapshot& raw) { raw.directories[2] = "/b/."; }},
        {"dots", [](RawSnapshot& raw) { raw.directories[2] = "/b/.."; }},
        {"NUL in a path", [](RawSnapshot& raw) { raw.directories[2] = std::string("/b/\0", 4); }},
        {"folder twice", [](RawSnapshot& raw) { raw.directories[2] = "/b"; }},
        {"folder without an entry", [](RawSnapshot& raw) { raw.directories.emplace_back("/b/d"); }},
        {"entry in a deleted folder",
         [](RawSnapshot& raw) { raw.entries[3].flags |= RawSnapshot::tombstone; }},
        {"folder whose entry is a file", [](RawSnapshot& raw) { raw.entries[3].flags = 0; }},
        {"slash in a name", [](RawSnapshot& raw) { raw.pool[2] = '/'; }},
        {"NUL in a name", [](RawSnapshot& raw) { raw.pool[2] = '\0'; }},
        {"dot as a name", [](RawSnapshot& raw) { raw.add(0, "."); }},
        {"dots as a name", [](RawSnapshot& raw) { raw.add(0, ".."); }},
        {"empty name", [](RawSnapshot& raw) { raw.add(0, ""); }},
        {"gap between names", [](RawSnapshot& raw) { raw.entries[0].nameLen -= 1; }},
        {"names out of order", [](RawSnapshot& raw) { std::swap(raw.entries[0], raw.entries[2]); }},
        {"gap at the end", [](RawSnapshot& raw) { raw.pool += "x"; }},
        {"name far behind the pool", [](RawSnapshot& raw) { raw.entries[5].nameOffset = huge; }},
        {"negative folder", [](RawSnapshot& raw) { raw.entries[0].dirIndex = huge; }},
        {"folder that is not there", [](RawSnapshot& raw) { raw.entries[0].dirIndex = 3; }},
        {"unknown flag", [](RawSnapshot& raw) { raw.entries[0].flags = 8; }},
        {"folder and link", [](RawSnapshot& raw) { raw.entries[1].flags = 3; }},
        {"folder with a size", [](RawSnapshot& raw) { raw.entries[1].size = 1; }},
        {"half a second", [](RawSnapshot& raw) { raw.entries[0].modTime = 0.5; }},
        {"no number", [](RawSnapshot& raw) { raw.entries[0].crTime = std::nan(""); }},
        {"no end of time", [](RawSnapshot& raw) { raw.entries[0].modTime = -HUGE_VAL; }},
        {"beyond time", [](RawSnapshot& raw) { raw.entries[0].crTime = 0x1p64; }},
    };
    for (const Damage& each : cases)
        EXPECT_FALSE(damaged(each).isLoaded) << each.first;
}

TEST(SnapshotLoader, RefusesAnotherSubject) {
    const std::string bytes = soundSnapshot().bytes();
    EXPECT_FALSE(loading(bytes, {.volumeDev = 8, .root = "/"}).isLoaded);
    EXPECT_FALSE(loading(bytes, {.volumeDev = 7, .root = "/b"}).isLoaded);
    EXPECT_TRUE(loading(bytes, {.volumeDev = 7, .root = "/"}).isLoaded);
    EXPECT_FALSE(loading(snapshotOf(FileIndex()), {.volumeDev = 7, .root = "/"}).isLoaded);
    EXPECT_TRUE(loading(snapshotOf(FileIndex())).isLoaded);
}

TEST(SnapshotLoader, RefusesFilesThatEndOrCannotBeReadBeforeTheStamps) {
    const std::string bytes = soundSnapshot().bytes();
    const std::size_t entriesEnd = soundSnapshot().bytesWithoutStamps().size();
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        const Loading cut = loading(bytes.substr(0, at));
        EXPECT_EQ(cut.isLoaded, at >= entriesEnd) << at;
        EXPECT_FALSE(cut.hasStamps()) << at;
        SnapshotSource source = SnapshotSource::fromBytes(bytes);
        source.read = [at, whole = source.read](std::uint64_t offset, std::span<char> destination) {
            const bool isHit = offset <= at && at < offset + destination.size();
            return !isHit && whole(offset, destination);
        };
        const Loading unreadable(source);
        EXPECT_FALSE(unreadable.isLoaded && at < entriesEnd) << at;
        EXPECT_FALSE(unreadable.hasStamps()) << at;
    }
}

TEST(SnapshotLoader, StampsThatProveNothingAreNotLoaded) {
    const Damage cases[] = {
        {"other section", [](RawSnapshot& raw) { raw.stampMagic = "DOVRAST2"; }},
        {"more", [](RawSnapshot& raw) { raw.stamps.push_back({}); }},
        {"wrong length", [](RawSnapshot& raw) { raw.stampBytes = 97; }},
        {"longest length", [](RawSnapshot& raw) { raw.stampBytes = ~std::uint64_t{0}; }},
        {"from the future", [](RawSnapshot& raw) { raw.lastEventId = 2'000'000'001; }},
    };
    for (const Damage& each : cases) {
        const Loading without = damaged(each);
        EXPECT_TRUE(without.isLoaded && !without.hasStamps()) << each.first;
    }
    EXPECT_TRUE(loading(soundSnapshot().bytes() + "DOVRAXX1 what comes later").hasStamps());
}

}  // namespace
}  // namespace dovra
