#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Stores/SavedSearchStore.hpp"
#include "Support/FileFacts.hpp"
#include "Support/Privileges.hpp"
#include "Support/TemporaryTree.hpp"
#include "Support/WaitUntil.hpp"

namespace dovra {
namespace {

using test::bytesOf;
using testing::ElementsAre;
using testing::UnorderedElementsAre;
using Item = SavedSearch;

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

TEST_F(SavedSearchStoreTest, WhatCannotBeReadWhollyIsKeptBeside) {
    std::filesystem::permissions(tree_.path(), std::filesystem::perms(0777));
    const test::OrdinaryUser ordinary;
    if (!ordinary.isOrdinary()) GTEST_SKIP() << "rights cannot be given up here";
    // The text of the file; or its name leads to a folder, or to a file that may not be read.
    const std::string bad[] = {"",
                               R"([{"name":"a","query":"1"})",
                               R"([{"name":"a","query":"1"},7])",
                               "{}",
                               std::string(100'000, '['),
                               "[\"\xFF\"]",
                               std::string(StoreFile::maxBytes, ' ') + "[]",
                               "folder",
                               "forbidden"};
    int number = 0;
    for (const std::string& text : bad) {
        const std::string kept = file_ + ".unreadable-" + std::to_string(++number);
        std::filesystem::remove(file_);
        tree_.write(text == "folder" ? "saved-searches.json/inner" : "saved-searches.json", text);
        if (text == "forbidden") std::filesystem::permissions(file_, std::filesystem::perms::none);
        SavedSearchStore store = open();
        std::vector<Item> expected = store.items();
        EXPECT_THAT(expected, testing::SizeIs(text.ends_with(",7]") ? 1 : 0));
        EXPECT_TRUE(store.loadError());
        EXPECT_FALSE(store.flush());
        EXPECT_FALSE(std::filesystem::exists(kept)) << "nothing was changed, so nothing is written";
        store.save("new", "q");
        EXPECT_FALSE(store.flush());
        expected.push_back({"new", "q"});
        EXPECT_EQ(open().items(), expected);
        if (text != "folder" && text != "forbidden") {
            EXPECT_EQ(bytesOf(kept), text);
        }
        EXPECT_TRUE(std::filesystem::exists(kept));
    }
    EXPECT_FALSE(open().loadError());
}

TEST_F(SavedSearchStoreTest, AFailedSaveLeavesEverythingInItsPlace) {
    tree_.write("saved-searches.json", "damaged");
    SavedSearchStore store = open();
    // No more is written than can be read again.
    store.save("b", std::string(StoreFile::maxBytes, 'x'));
    EXPECT_TRUE(store.flush());
    EXPECT_EQ(bytesOf(file_), "damaged");
    EXPECT_THAT(test::namesIn(tree_.path()),
                UnorderedElementsAre("saved-searches.json", "saved-searches.json.lock"));
    store.remove("b");
    store.save("a", "1");
    EXPECT_FALSE(store.flush());
    EXPECT_THAT(open().items(), ElementsAre(Item{"a", "1"}));
}

}  // namespace
}  // namespace dovra
