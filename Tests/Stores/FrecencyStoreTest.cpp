#include <atomic>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Stores/FrecencyStore.hpp"
#include "Support/FullDisk.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

constexpr double now = 1.7e9;
constexpr double hour = 3600;
constexpr double day = 24 * hour;

TEST(FrecencyEntry, BoostsByCountAndAge) {
    struct Case {
        std::int64_t count;
        double age;
        std::int32_t boost;
    };
    const Case cases[] = {{1, 0, 16},        {1, hour - 1, 16}, {1, hour, 8},      {1, day - 1, 8},
                          {1, day, 4},       {1, 7 * day, 2},   {1, 30 * day, 1},  {100, 40 * day, 72},
                          {4, 0, 64},        {5, 0, 72},        {17, day, 68},     {18, day, 72},
                          {0, 0, 0},         {-5, 0, 0},        {1, -9 * day, 16}, {3, 7 * day, 6},
                          {1LL << 62, 0, 72}};
    for (const auto& [count, age, boost] : cases)
        EXPECT_EQ((FrecencyEntry{count, now - age}.boost(now)), boost) << count << " " << age;
}

TEST(FrecencyTable, AddsCountsAndTakesTheTimeOver) {
    FrecencyTable table;
    for (const double time : {now, now + 5, now - 5})
        table.apply(FrecencyTable::open("/a", time));
    EXPECT_EQ(table.find("/a"), (FrecencyEntry{3, now - 5}));
    EXPECT_EQ(table.find("/A"), std::nullopt);
    const std::int64_t most = std::numeric_limits<std::int64_t>::max();
    auto full = FrecencyTable::decode(R"({"/a":{"count":9223372036854775807,"lastAccess":1}})")->table;
    full.apply(table);
    EXPECT_EQ(full.find("/a").value().count, most);
}

TEST(FrecencyTable, KeepsTheBetterHalfWhenItIsFull) {
    FrecencyTable table;
    const auto path = [](int i) { return fmt::format("/{}", i); };
    // Every other path is old, so that the score, not the order, must decide.
    for (int i = 0; i < 4000; ++i)
        table.apply(FrecencyTable::open(path(i), i % 2 == 0 ? now : now - 40 * day));
    EXPECT_EQ(table.size(), 4000U);
    table.apply(FrecencyTable::open(path(7), now));
    EXPECT_EQ(table.size(), 4000U);
    table.apply(FrecencyTable::open(path(4000), now + 1));
    EXPECT_EQ(table.size(), 2000U);
    EXPECT_EQ(table.find(path(7)).value().count, 2);
    EXPECT_TRUE(table.find(path(4000)));
    for (int i = 1; i < 4000; i += 2)
        EXPECT_EQ(table.find(path(i)).has_value(), i == 7) << i;
}

TEST(FrecencyTable, LeavesOutValuesThatAreWrong) {
    for (const std::string value :
         {"1", "null", "[]", R"({"count":1})", R"({"lastAccess":1})", R"({"count":"1","lastAccess":1})",
          R"({"count":1,"lastAccess":"1"})", R"({"count":1.5,"lastAccess":1})",
          R"({"count":9223372036854775808,"lastAccess":1})"}) {
        const auto decoded =
            FrecencyTable::decode(R"({"/a":)" + value + R"(,"/b":{"count":2,"lastAccess":3}})");
        EXPECT_FALSE(decoded.value().isWhole) << value;
        EXPECT_EQ(decoded->table.encode(), R"({"/b":{"count":2,"lastAccess":3.0}})") << value;
    }
    EXPECT_FALSE(FrecencyTable::decode(R"({"/a\u0000zz":{"count":2,"lastAccess":3}})")->isWhole);
    EXPECT_TRUE(FrecencyTable::decode(R"({"/a":{"count":2,"lastAccess":3,"more":[]}})")->isWhole);
    for (const char* text : {"", "[]", "null", R"({"/a":{"count":2,"lastAccess":3})"})
        EXPECT_FALSE(FrecencyTable::decode(text)) << text;
}

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

TEST_F(FrecencyStoreTest, BoostsWhatWasOpenedAlsoWithoutAFile) {
    for (const std::optional<std::string>& file : {std::optional(file_), std::optional<std::string>()}) {
        now_ = start;
        FrecencyStore store(file, [this] { return now_.load(); });
        EXPECT_TRUE(store.boosts().empty());
        store.recordOpen("/a");
        EXPECT_EQ(store.boost("/a"), 16);
        EXPECT_FALSE(store.flush());
        now_ = start + 8 * 86400.0;
        EXPECT_EQ(store.boosts().at(0).boost, 2);
    }
}

TEST_F(FrecencyStoreTest, LosesNoOpenWhileItSaves) {
    FrecencyStore first = open();
    FrecencyStore second = open();
    std::atomic<int> saving = 2;
    std::atomic<int> opens = 0;
    std::vector<std::thread> threads;
    for (FrecencyStore* store : {&first, &second}) {
        threads.emplace_back([&, store, own = fmt::format("/{}", threads.size())] {
            int i = 0;
            do {
                store->recordOpen("/a");
                store->recordOpen(own);
                ASSERT_EQ(store->table().find(own).value().count, ++i);
                ++opens;
            } while (saving > 0);
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

}  // namespace
}  // namespace dovra
