#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>

#include "Diagnostics/IndexCheck.hpp"
#include "Index/EventId.hpp"
#include "Index/IndexCache.hpp"
#include "Support/FileFacts.hpp"
#include "Support/FullDisk.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const SnapshotSubject subject{.volumeDev = 7, .root = "/", .now = wallClockNow()};

/// The application-support folder lies in a temporary tree.
class IndexCacheTest : public testing::Test {
protected:
    void SetUp() override { ::setenv("XDG_DATA_HOME", home.path().c_str(), 1); }
    void TearDown() override { ::unsetenv("XDG_DATA_HOME"); }

    std::vector<std::string> files() const { return test::namesIn(home.path("Dovra")); }

    const test::TemporaryTree home;
};

TEST_F(IndexCacheTest, NamesAFileForEachRoot) {
    EXPECT_EQ(cacheFileName("/"), "index.cache");
    // A file must be found again by the next version of the program.
    EXPECT_EQ(cacheFileName("/home"), "index-b17eeef9480d2491.cache");
    EXPECT_NE(cacheFileName("/home/a"), cacheFileName("/home/b"));
    EXPECT_EQ(cacheFileName("/a/../b\n").find('/'), std::string::npos);
}

TEST_F(IndexCacheTest, SavesLoadsAndRemoves) {
    const IndexCache cache("index.cache");
    EXPECT_EQ(cache.filePath(), home.path("Dovra/index.cache"));
    FileIndex loaded;
    EXPECT_FALSE(cache.load(loaded, subject));
    cache.remove();

    const auto index = test::makeIndex({"/a/b", "/c"});
    EXPECT_FALSE(cache.save(*index, 7, 42));
    EXPECT_EQ(test::modeOf(*cache.filePath()), 0600U);
    EXPECT_EQ(cache.load(loaded, subject).value().lastEventId, 42U);
    EXPECT_FALSE(indexDifference(*index, loaded));
    EXPECT_THAT(files(), ElementsAre("index.cache"));

    cache.remove();
    EXPECT_FALSE(cache.load(loaded, subject));
    EXPECT_FALSE(indexDifference(*index, loaded));
    EXPECT_THAT(files(), ElementsAre());
}

TEST_F(IndexCacheTest, KeepsTheOldFileWhenSavingFails) {
    const IndexCache cache("index.cache");
    ASSERT_FALSE(cache.save(*test::makeIndex({"/old"}), 7, 1));
    {
        const test::FullDisk full(100);
        const auto error = cache.save(*test::makeIndex({"/new"}), 7, 2);
        ASSERT_TRUE(error);
        EXPECT_THAT(error->message, HasSubstr(*cache.filePath()));
    }
    FileIndex loaded;
    EXPECT_EQ(cache.load(loaded, subject).value().lastEventId, 1U);
    EXPECT_THAT(files(), ElementsAre("index.cache"));
}

TEST_F(IndexCacheTest, WithoutAFolderNothingIsKept) {
    ::setenv("XDG_DATA_HOME", home.write("not a folder").c_str(), 1);
    const IndexCache cache("index.cache");
    FileIndex index;
    EXPECT_FALSE(cache.filePath());
    EXPECT_TRUE(cache.save(index, 7, 1));
    EXPECT_FALSE(cache.load(index, subject));
    cache.remove();
}

TEST_F(IndexCacheTest, WritersReplaceEachOthersFileWhole) {
    const IndexCache cache("index.cache");
    const auto one = test::makeIndex({"/one/a", "/one/b"});
    const auto other = test::makeIndex({std::string("/") + std::string(200, 'x')});
    std::atomic<int> writing = 2;
    const auto write = [&](const FileIndex& index) {
        for (int i = 0; i < 20; ++i) {
            // Who comes while the other writes gives way.
            if (const auto error = cache.save(index, 7, 1)) {
                EXPECT_EQ(error->code, EWOULDBLOCK) << error->message;
            }
        }
        --writing;
    };
    ASSERT_FALSE(cache.save(*one, 7, 1));
    std::thread first([&] { write(*one); });
    std::thread second([&] { write(*other); });
    while (writing != 0) {
        FileIndex loaded;
        ASSERT_TRUE(cache.load(loaded, subject));
        EXPECT_TRUE(!indexDifference(loaded, *one) || !indexDifference(loaded, *other));
    }
    first.join();
    second.join();
    EXPECT_THAT(files(), ElementsAre("index.cache"));
}

}  // namespace
}  // namespace dovra
