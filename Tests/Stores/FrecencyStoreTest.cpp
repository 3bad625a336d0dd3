#include <atomic>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "Stores/FrecencyStore.hpp"
#include "Support/FileFacts.hpp"
#include "Support/FullDisk.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

constexpr double start = 1.7e9;

class FrecencyStoreTest : public testing::Test {
protected:
    FrecencyStore open() {
        return FrecencyStore(file_, [this] { return now_.load(); });
    }

    test::TemporaryTree tree_;
    std::string file_ = tree_.path("frecency.json");
    std::atomic<double> now_ = start;
};

TEST_F(FrecencyStoreTest, BoostsWhatWasOpened) {
    FrecencyStore store = open();
    EXPECT_EQ(store.boost("/a"), 0);
    EXPECT_TRUE(store.boosts().empty());
    store.recordOpen("/a");
    EXPECT_EQ(store.boost("/a"), 16);
    for (int i = 0; i < 4; ++i)
        store.recordOpen("/a");
    EXPECT_EQ(store.boost("/a"), 72);
    now_ = start + 8 * 86400.0;
    ASSERT_EQ(store.boosts().size(), 1U);
    EXPECT_EQ(store.boosts().front().path, "/a");
    EXPECT_EQ(store.boosts().front().boost, 10);
}

TEST_F(FrecencyStoreTest, LosesNoOpenWhileItSaves) {
    FrecencyStore first = open();
    FrecencyStore second = open();
    std::atomic<int> saving = 2;
    std::atomic<int> opens = 0;
    std::vector<std::thread> threads;
    for (FrecencyStore* store : {&first, &second}) {
        threads.emplace_back([&, store, own = fmt::format("/{}", threads.size())] {
            for (int i = 1; saving > 0; ++i, ++opens) {
                store->recordOpen("/a");
                store->recordOpen(own);
                ASSERT_EQ(store->table().find(own).value().count, i);
            }
        });
        threads.emplace_back([&, store] {
            for (int i = 0; i < 20; ++i)
                EXPECT_FALSE(store->flush());
            --saving;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_FALSE(first.flush());
    EXPECT_FALSE(second.flush());
    EXPECT_EQ(open().table().find("/a").value().count, opens);
}

TEST_F(FrecencyStoreTest, SavesWhatIsDueWhenItGoesAndAFailedSaveOnce) {
    const std::string path = "/caf\xE9/\"x\"\n";
    open().recordOpen("/a");
    {
        FrecencyStore store = open();
        store.recordOpen(path);
        const test::FullDisk full(10);
        EXPECT_TRUE(store.flush());
        store.recordOpen("/b");
        EXPECT_EQ(store.boost(path), 16);
    }
    const FrecencyTable saved = open().table();
    EXPECT_EQ(saved.find(path).value().count, 1);
    EXPECT_EQ(saved.size(), 3U);
}

TEST_F(FrecencyStoreTest, WorksInMemoryWithoutALocation) {
    FrecencyStore store(std::nullopt);
    store.recordOpen("/a");
    EXPECT_FALSE(store.flush());
    EXPECT_EQ(store.boost("/a"), 16);
}

}  // namespace
}  // namespace dovra
