#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Diagnostics/IndexCheck.hpp"
#include "Index/IndexImage.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/IndexImages.hpp"
#include "Support/RawIndexImage.hpp"

namespace dovra {
namespace {

using test::anySubject;
using test::imageOf;
using test::loadBytes;
using test::RawIndexImage;
using test::soundIndexImage;
using test::stampOf;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t huge = 0xFFFFFFFF;

/// A change of a sound file.
using Damage = std::pair<const char*, void (*)(RawIndexImage& raw)>;

/// The loading of a file into an index, which must be sound, and unchanged unless the file is loaded.
class Loading {
public:
    explicit Loading(const IndexImageSource& source, const IndexImageSubject& subject = anySubject) {
        const std::uint64_t before = index->generation();
        isLoaded = loadIndexImage(*index, source, subject).has_value();
        EXPECT_THAT(indexViolations(*index), IsEmpty());
        EXPECT_TRUE(isLoaded || (index->generation() == before && !indexDifference(*index, *kept())));
    }

    bool hasStamps() const { return isLoaded && stampOf(*index, 2).isKnown(); }

    static std::unique_ptr<FileIndex> kept() { return test::makeIndex({"/kept/file"}); }

    const std::unique_ptr<FileIndex> index = kept();
    bool isLoaded;
};

Loading loading(const std::string& bytes, const IndexImageSubject& subject = anySubject) {
    return Loading(IndexImageSource::fromBytes(bytes), subject);
}

Loading damaged(const Damage& damage) {
    RawIndexImage raw = soundIndexImage();
    damage.second(raw);
    return loading(raw.bytes());
}

TEST(IndexImageLoader, LoadsWhatTheLayoutSays) {
    FileIndex index;
    const std::uint64_t before = index.generation();
    const auto loaded = loadBytes(index, soundIndexImage().bytes());
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

TEST(IndexImageLoader, LoadsWhatAReaderMustNotMind) {
    RawIndexImage raw = soundIndexImage();
    raw.entries[0].reserved = "other";
    raw.entries[0].modTime = 0x1p63;
    raw.entries[0].crTime = -0x1p63;
    EXPECT_TRUE(loading(raw.bytes()).isLoaded);
}

TEST(IndexImageLoader, RefusesWhatIsUnsoundAndKeepsTheIndex) {
    const Damage cases[] = {
        {"magic", [](RawIndexImage& raw) { raw.magic = "DOVRAIX2"; }},
        {"newer version", [](RawIndexImage& raw) { raw.version = 2; }},
        {"record size", [](RawIndexImage& raw) { raw.entryBytes = 48; }},
        {"other device", [](RawIndexImage& raw) { raw.volumeDev = 8; }},
        {"no folders", [](RawIndexImage& raw) { raw.folderCount = 0; }},
        {"more folders", [](RawIndexImage& raw) { raw.folderCount = 4; }},
        {"fewer entries", [](RawIndexImage& raw) { raw.entryCount = 5; }},
        {"most entries", [](RawIndexImage& raw) { raw.entryCount = huge; }},
        {"shorter pool", [](RawIndexImage& raw) { raw.poolBytes = raw.pool.size() - 1; }},
        {"longer path", [](RawIndexImage& raw) { raw.pathLength = 5; }},
        {"empty path", [](RawIndexImage& raw) { raw.folders[2] = ""; }},
        {"relative path", [](RawIndexImage& raw) { raw.folders[2] = "b/c"; }},
        {"relative root", [](RawIndexImage& raw) { raw.folders[0] = "x"; }},
        {"two slashes", [](RawIndexImage& raw) { raw.folders[2] = "/b//c"; }},
        {"dot", [](RawIndexImage& raw) { raw.folders[2] = "/b/."; }},
        {"dots", [](RawIndexImage& raw) { raw.folders[2] = "/b/.."; }},
        {"NUL in a path", [](RawIndexImage& raw) { raw.folders[2] = std::string("/b/\0", 4); }},
        {"folder twice", [](RawIndexImage& raw) { raw.folders[2] = "/b"; }},
        {"folder without an entry", [](RawIndexImage& raw) { raw.folders.emplace_back("/b/d"); }},
        {"entry in a deleted folder",
         [](RawIndexImage& raw) { raw.entries[3].flags |= RawIndexImage::tombstone; }},
        {"folder whose entry is a file", [](RawIndexImage& raw) { raw.entries[3].flags = 0; }},
        {"slash in a name", [](RawIndexImage& raw) { raw.pool[2] = '/'; }},
        {"NUL in a name", [](RawIndexImage& raw) { raw.pool[2] = '\0'; }},
        {"dot as a name", [](RawIndexImage& raw) { raw.add(0, "."); }},
        {"dots as a name", [](RawIndexImage& raw) { raw.add(0, ".."); }},
        {"empty name", [](RawIndexImage& raw) { raw.add(0, ""); }},
        {"gap between names", [](RawIndexImage& raw) { raw.entries[0].nameLen -= 1; }},
        {"names out of order", [](RawIndexImage& raw) { std::swap(raw.entries[0], raw.entries[2]); }},
        {"gap at the end", [](RawIndexImage& raw) { raw.pool += "x"; }},
        {"name far behind the pool", [](RawIndexImage& raw) { raw.entries[5].nameOffset = huge; }},
        {"negative folder", [](RawIndexImage& raw) { raw.entries[0].dirIndex = huge; }},
        {"folder that is not there", [](RawIndexImage& raw) { raw.entries[0].dirIndex = 3; }},
        {"unknown flag", [](RawIndexImage& raw) { raw.entries[0].flags = 8; }},
        {"folder and link", [](RawIndexImage& raw) { raw.entries[1].flags = 3; }},
        {"folder with a size", [](RawIndexImage& raw) { raw.entries[1].size = 1; }},
        {"half a second", [](RawIndexImage& raw) { raw.entries[0].modTime = 0.5; }},
        {"no number", [](RawIndexImage& raw) { raw.entries[0].crTime = std::nan(""); }},
        {"no end of time", [](RawIndexImage& raw) { raw.entries[0].modTime = -HUGE_VAL; }},
        {"beyond time", [](RawIndexImage& raw) { raw.entries[0].crTime = 0x1p64; }},
    };
    for (const Damage& each : cases)
        EXPECT_FALSE(damaged(each).isLoaded) << each.first;
}

TEST(IndexImageLoader, RefusesAnotherSubject) {
    const std::string bytes = soundIndexImage().bytes();
    EXPECT_FALSE(loading(bytes, {.volumeDev = 8, .root = "/"}).isLoaded);
    EXPECT_FALSE(loading(bytes, {.volumeDev = 7, .root = "/b"}).isLoaded);
    EXPECT_TRUE(loading(bytes, {.volumeDev = 7, .root = "/"}).isLoaded);
    EXPECT_FALSE(loading(imageOf(FileIndex()), {.volumeDev = 7, .root = "/"}).isLoaded);
    EXPECT_TRUE(loading(imageOf(FileIndex())).isLoaded);
}

TEST(IndexImageLoader, RefusesFilesThatEndOrCannotBeReadBeforeTheStamps) {
    const std::string bytes = soundIndexImage().bytes();
    const std::size_t entriesEnd = soundIndexImage().bytesWithoutStamps().size();
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        const Loading cut = loading(bytes.substr(0, at));
        EXPECT_EQ(cut.isLoaded, at >= entriesEnd) << at;
        EXPECT_FALSE(cut.hasStamps()) << at;
        IndexImageSource source = IndexImageSource::fromBytes(bytes);
        source.read = [at, whole = source.read](std::uint64_t offset, std::span<char> destination) {
            const bool isHit = offset <= at && at < offset + destination.size();
            return !isHit && whole(offset, destination);
        };
        const Loading unreadable(source);
        EXPECT_FALSE(unreadable.isLoaded && at < entriesEnd) << at;
        EXPECT_FALSE(unreadable.hasStamps()) << at;
    }
}

TEST(IndexImageLoader, StampsThatProveNothingAreNotLoaded) {
    const Damage cases[] = {
        {"other section", [](RawIndexImage& raw) { raw.stampMagic = "DOVRAST2"; }},
        {"more", [](RawIndexImage& raw) { raw.stamps.push_back({}); }},
        {"wrong length", [](RawIndexImage& raw) { raw.stampBytes = 97; }},
        {"longest length", [](RawIndexImage& raw) { raw.stampBytes = ~std::uint64_t{0}; }},
        {"from the future", [](RawIndexImage& raw) { raw.lastEventId = 2'000'000'001; }},
    };
    for (const Damage& each : cases) {
        const Loading without = damaged(each);
        EXPECT_TRUE(without.isLoaded && !without.hasStamps()) << each.first;
    }
    EXPECT_TRUE(loading(soundIndexImage().bytes() + "DOVRAXX1 what comes later").hasStamps());
}

}  // namespace
}  // namespace dovra
