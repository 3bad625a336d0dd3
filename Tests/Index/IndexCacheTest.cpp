#include <cerrno>
#include <cstdlib>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Diagnostics/IndexCheck.hpp"
#include "Index/Clocks.hpp"
#include "Index/IndexCache.hpp"
#include "Platform/AtomicFile.hpp"
#include "Support/FileFacts.hpp"
#include "Support/FullDisk.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/OwnData.hpp"
#include "Support/WaitUntil.hpp"

namespace dovra {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const IndexImageSubject ofTheVolume{.volumeDev = 7, .root = "/", .now = wallClockNow()};

class IndexCacheTest : public testing::Test {
protected:
    std::vector<std::string> files() const { return test::namesIn(home.path("Dovra")); }

    const test::OwnData home;
    const IndexCache cache = IndexCache("index.cache");
};

TEST_F(IndexCacheTest, NamesAFileForEachRoot) {
    EXPECT_EQ(cacheFileName("/"), "index.cache");
    // The next version of the program must find the file again.
    EXPECT_EQ(cacheFileName("/home"), "index-b17eeef9480d2491.cache");
    EXPECT_NE(cacheFileName("/home/a"), cacheFileName("/home/b"));
    EXPECT_EQ(cacheFileName("/a/../b\n").find('/'), std::string::npos);
}

TEST_F(IndexCacheTest, SavesLoadsAndRemoves) {
    FileIndex loaded;
    EXPECT_FALSE(cache.load(loaded, ofTheVolume));
    cache.remove();

    const auto index = test::makeIndex({"/a/b", "/c"});
    EXPECT_FALSE(cache.save(*index, 7, 42));
    EXPECT_EQ(test::modeOf(home.path("Dovra/index.cache")), 0600U);
    EXPECT_EQ(cache.load(loaded, ofTheVolume).value().lastEventId, 42U);
    EXPECT_FALSE(indexDifference(*index, loaded));

    cache.remove();
    EXPECT_THAT(files(), ElementsAre());
}

TEST_F(IndexCacheTest, KeepsTheOldFileWhenSavingFails) {
    const auto index = test::makeIndex({"/file"});
    ASSERT_FALSE(cache.save(*index, 7, 1));
    const auto failureOfASave = [&](const std::stop_token& stop = {}) {
        const auto error = cache.save(*index, 7, 2, stop).value();
        EXPECT_THAT(error.message, HasSubstr(*cache.filePath()));
        return error.code;
    };
    {
        const test::FullDisk full(100);
        EXPECT_EQ(failureOfASave(), EFBIG);
    }
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(failureOfASave(stop.get_token()), ECANCELED);
    const AtomicFile another(*cache.filePath());
    EXPECT_EQ(failureOfASave(), EAGAIN);
    FileIndex loaded;
    EXPECT_EQ(cache.load(loaded, ofTheVolume).value().lastEventId, 1U);
}

TEST_F(IndexCacheTest, WithoutAFolderNothingIsKept) {
    ::setenv("XDG_DATA_HOME", home.write("not a folder").c_str(), 1);
    const IndexCache nowhere("index.cache");
    FileIndex index;
    EXPECT_FALSE(nowhere.filePath());
    EXPECT_TRUE(nowhere.save(index, 7, 1));
    EXPECT_FALSE(nowhere.load(index, ofTheVolume));
    nowhere.remove();
}

TEST_F(IndexCacheTest, AFileHoldsOneStateOfAnIndexThatChanges) {
    std::vector<test::IndexItem> items;
    for (int i = 0; i < 20'000; ++i)
        items.emplace_back(fmt::format("/{}/{}", i % 100, i));
    const auto one = test::makeIndex(items);
    const auto other = test::makeIndex({"/other"});
    FileIndex index;
    std::jthread writer(
        [&, spare = test::makeIndex(items)->takeContents()](const std::stop_token& stop) mutable {
            test::addTree(index, {"/other"});
            while (!stop.stop_requested()) {
                IndexContents taken = index.takeContents();
                index.replaceContents(std::move(spare));
                spare = std::move(taken);
            }
        });
    // The loop ends when the index was never at rest for long enough.
    EXPECT_TRUE(test::waitUntil([&] {
        const auto error = cache.save(index, 7, 1);
        if (error) return error->code == EAGAIN;
        FileIndex loaded;
        EXPECT_TRUE(cache.load(loaded, {.volumeDev = 7, .root = {}}));
        EXPECT_TRUE(loaded.itemCount() == 0 || !indexDifference(loaded, *one) ||
                    !indexDifference(loaded, *other));
        return false;
    }));
    writer.request_stop();
    writer.join();
    EXPECT_FALSE(cache.save(index, 7, 1));
    EXPECT_THAT(files(), ElementsAre("index.cache"));
}

}  // namespace
}  // namespace dovra
