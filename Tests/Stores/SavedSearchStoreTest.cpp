#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "Stores/SavedSearchStore.hpp"
#include "Support/FileFacts.hpp"
#include "Support/FullDisk.hpp"
#include "Support/Privileges.hpp"
#include "Support/TemporaryTree.hpp"
#include "Support/WaitUntil.hpp"

namespace dovra {
namespace {

using testing::ElementsAre;
using Change = SavedSearchChanges::Change;
using Item = SavedSearch;

SavedSearchTable tableOf(std::initializer_list<Change> changes) {
    SavedSearchTable table;
    for (const Change& change : changes)
        table.apply(SavedSearchChanges(change));
    return table;
}

TEST(SavedSearchTable, KeepsPlacesAndExactNames) {
    EXPECT_THAT(tableOf({{"a", "1"}, {"b", "2"}, {"A", "3"}, {"a", "4"}}).items(),
                ElementsAre(Item{"a", "4"}, Item{"b", "2"}, Item{"A", "3"}));
    EXPECT_THAT(tableOf({{"a", "1"}, {"b", "2"}, {"a", {}}, {"c", {}}, {"a", "3"}}).items(),
                ElementsAre(Item{"b", "2"}, Item{"a", "3"}));
}

TEST(SavedSearchTable, LeavesOutElementsThatAreWrong) {
    for (const std::string wrong : {"1", "null", "[]", "{}", R"({"name":"x"})", R"({"query":"x"})",
                                    R"({"name":1,"query":"x"})", R"({"name":"x","query":null})",
                                    R"({"name":" ","query":"x"})", R"({"name":"\u0000","query":"x"})"}) {
        const auto decoded = SavedSearchTable::decode("[" + wrong + R"(,{"name":"n","query":"q"}])");
        EXPECT_FALSE(decoded.value().isWhole) << wrong;
        EXPECT_THAT(decoded->table.items(), ElementsAre(Item{"n", "q"})) << wrong;
    }
    const auto twice = SavedSearchTable::decode(
        R"([{"name":"a","query":"1"},{"name":"b","query":"2"},{"name":" a\n","query":"3"}])");
    EXPECT_EQ(twice->table.encode(), R"([{"name":"a","query":"3"},{"name":"b","query":"2"}])");
}

using test::bytesOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Item = SavedSearchStore::Item;

class SavedSearchStoreTest : public testing::Test {
protected:
    SavedSearchStore open() { return SavedSearchStore(file_); }

    test::TemporaryTree tree_;
    std::string file_ = tree_.path("saved-searches.json");
};

TEST_F(SavedSearchStoreTest, ManyChangesAreOneWrite) {
    SavedSearchStore store = open();
    for (int i = 0; i < 10; ++i)
        store.save(std::to_string(i), "q");
    ASSERT_TRUE(test::waitUntil([&] { return std::filesystem::exists(file_); }));
    EXPECT_THAT(open().items(), testing::SizeIs(10));
    const ino_t written = test::statusOf(file_).st_ino;
    EXPECT_FALSE(store.flush());
    EXPECT_EQ(test::statusOf(file_).st_ino, written);
    EXPECT_EQ(test::modeOf(file_), 0600U);
    // The next change is due again.
    store.save("x", "q");
    ASSERT_TRUE(test::waitUntil([&] { return test::statusOf(file_).st_ino != written; }));
}

TEST_F(SavedSearchStoreTest, ChangesOfTwoStoresAreBothKept) {
    SavedSearchStore first = open();
    for (const char* name : {"kept", "removed", "changed"})
        first.save(name, "1");
    EXPECT_FALSE(first.flush());
    SavedSearchStore second = open();
    first.save("first", "1");
    first.remove("removed");
    second.save("second", "2");
    second.save("changed", "2");
    EXPECT_FALSE(second.flush());
    EXPECT_FALSE(first.flush());
    std::vector<Item> expected = {{"kept", "1"}, {"changed", "2"}, {"second", "2"}, {"first", "1"}};
    EXPECT_EQ(open().items(), expected);
    EXPECT_EQ(first.items(), expected);
    std::filesystem::remove(file_);
    first.save("more", "3");
    expected.push_back({"more", "3"});
    EXPECT_FALSE(first.flush());
    EXPECT_EQ(open().items(), expected) << "a file that was removed is written whole";
}

TEST_F(SavedSearchStoreTest, ADamagedFileIsKeptBeside) {
    const std::string bad[] = {"",           R"([{"name":"a","query":"1"})",
                               "{}",         std::string(100'000, '['),
                               "[\"\xFF\"]", std::string(StoreFile::maxBytes, ' ') + "[]"};
    int number = 0;
    for (const std::string& text : bad) {
        tree_.write("saved-searches.json", text);
        SavedSearchStore store = open();
        EXPECT_THAT(store.items(), IsEmpty());
        EXPECT_TRUE(store.loadError());
        EXPECT_FALSE(store.flush());
        EXPECT_EQ(bytesOf(file_), text) << "nothing was changed, so nothing is written";
        store.save("new", "q");
        EXPECT_FALSE(store.flush());
        EXPECT_THAT(open().items(), ElementsAre(Item{"new", "q"}));
        EXPECT_EQ(bytesOf(file_ + ".unreadable-" + std::to_string(++number)), text);
    }
    EXPECT_FALSE(open().loadError());
}

TEST_F(SavedSearchStoreTest, AFailedSaveLeavesEverythingInItsPlace) {
    tree_.write("saved-searches.json", "damaged");
    SavedSearchStore store = open();
    store.save("a", "1");
    {
        const test::FullDisk full(10);
        EXPECT_TRUE(store.flush());
    }
    EXPECT_EQ(bytesOf(file_), "damaged");
    EXPECT_THAT(test::namesIn(tree_.path()),
                UnorderedElementsAre("saved-searches.json", "saved-searches.json.lock"));
    EXPECT_THAT(store.items(), ElementsAre(Item{"a", "1"}));
    // No more is written than can be read again.
    store.save("b", std::string(StoreFile::maxBytes, 'x'));
    EXPECT_TRUE(store.flush());
    store.remove("b");
    EXPECT_FALSE(store.flush());
    EXPECT_THAT(open().items(), ElementsAre(Item{"a", "1"}));
}

TEST_F(SavedSearchStoreTest, WhatCannotBeReadWhollyIsKeptBesideToo) {
    // What is in the way, and what of it is taken over.
    const std::pair<std::function<void()>, std::vector<Item>> obstacles[] = {
        {[&] { tree_.write("saved-searches.json", R"([{"name":"a","query":"1"},7])"); }, {{"a", "1"}}},
        {[&] { tree_.write("saved-searches.json/inner"); }, {}},
        {[&] {
             tree_.write("saved-searches.json", "[]");
             std::filesystem::permissions(file_, std::filesystem::perms::none);
         },
         {}},
    };
    std::filesystem::permissions(tree_.path(), std::filesystem::perms(0777));
    const test::OrdinaryUser ordinary;
    if (!ordinary.isOrdinary()) GTEST_SKIP() << "rights cannot be given up here";
    int number = 0;
    for (auto [putInTheWay, expected] : obstacles) {
        std::filesystem::remove(file_);
        putInTheWay();
        SavedSearchStore store = open();
        EXPECT_TRUE(store.loadError());
        store.save("b", "2");
        EXPECT_FALSE(store.flush());
        expected.push_back({"b", "2"});
        EXPECT_EQ(open().items(), expected);
        EXPECT_TRUE(std::filesystem::exists(file_ + ".unreadable-" + std::to_string(++number)));
    }
}

}  // namespace
}  // namespace dovra
