#include <gtest/gtest.h>
#include <string>

#include "Support/ToolCaller.hpp"

namespace dovra {
namespace {

using test::at;
using test::each;
using Values = JSONValue::Array;

TEST(FindDuplicateFiles, ReportsSetsAndWhatTheyWaste) {
    const test::TemporaryTree tree;
    for (const char* name : {"one folder/1.txt", "one folder/2.txt", "b/3.txt"})
        tree.write(name, "0123456789");
    tree.write("b/1.jpg", std::string(2000, 'x'));
    tree.write("b/2.jpg", std::string(2000, 'x'));
    tree.write("other.txt", "9876543210");
    const test::ToolCaller caller(tree);

    const JSONValue all = caller.call("find_duplicate_files", "{}");
    EXPECT_EQ(at(all, "duplicateSets"), 2);
    EXPECT_EQ(at(all, "reclaimableBytes"), 2020);
    EXPECT_EQ(at(all, "reclaimable"), "2 KB");
    const JSONValue& jpgs = at(all, "sets").array()->at(0);
    EXPECT_EQ(at(jpgs, "bytesEach"), 2000);
    EXPECT_EQ(at(jpgs, "size"), "2 KB");
    EXPECT_EQ(each(at(all, "sets"), "copies"), (Values{2, 3}));

    const JSONValue first = caller.call("find_duplicate_files", R"({"limit":1})");
    EXPECT_EQ(at(first, "duplicateSets"), 2);
    EXPECT_EQ(at(first, "sets"), Values{jpgs});
    EXPECT_EQ(at(caller.call("find_duplicate_files", R"({"query":"ext:txt"})"), "reclaimableBytes"), 20);

    // No name on the way to the tree holds a space.
    const JSONValue within = caller.call("find_duplicate_files", R"({"within":"ONE FOLDER/"})");
    EXPECT_EQ(each(at(within, "sets"), "copies"), Values{2});
    EXPECT_EQ(at(within, "reclaimableBytes"), 10);
    EXPECT_EQ(at(caller.call("find_duplicate_files", R"({"within":"3.txt"})"), "duplicateSets"), 0);
    EXPECT_EQ(at(caller.call("find_duplicate_files", R"({"query":"\".txt"})"), "duplicateSets"), 1);
    EXPECT_EQ(caller.failure("find_duplicate_files", R"({"within":"~/absent"})").substr(0, 8), "`within`");
}

TEST(DiskUsage, ListsTheLargestFolders) {
    const test::TemporaryTree tree;
    tree.write("a/x", std::string(3000, 'x'));
    tree.write("a/sub/y", std::string(1000, 'x'));
    tree.write("b/z", "1");
    const test::ToolCaller caller(tree);
    const auto paths = [&](const std::string& arguments) {
        return each(at(caller.call("disk_usage", arguments), "directories"), "path");
    };
    EXPECT_EQ(paths("{}"), (Values{tree.path(), tree.path("a"), tree.path("a/sub"), tree.path("b")}));
    EXPECT_EQ(paths(R"({"limit":-3})"), Values{tree.path()});
    EXPECT_EQ(paths(R"({"path":")" + tree.path("b/../a/") + "\"}"),
              (Values{tree.path("a"), tree.path("a/sub")}));
    EXPECT_EQ(caller.failure("disk_usage", R"({"path":"/nowhere"})"),
              fmt::format("`path`: \"/nowhere\" is no folder in the index, which holds what lies below {}.",
                          tree.path()));
    EXPECT_EQ(at(caller.call("disk_usage", R"({"limit":1})"), "directories"),
              (Values{JSONObject{{"path", tree.path()}, {"size", "4 KB"}, {"files", 3}}}));
}

TEST(IndexStats, SaysHowMuchIsThereAndWhetherThatIsAll) {
    const test::TemporaryTree tree;
    EXPECT_EQ(at(test::ToolCaller(tree).call("index_stats", "{}"), "ready"), false)
        << "as long as it is empty";
    tree.write("a/b");
    test::ToolCaller filled(tree);
    JSONObject expected{{"indexedItems", 2},     {"root", tree.path()},  {"ready", true},
                        {"watching", "made up"}, {"lastComparison", {}}, {"server", "dovra"},
                        {"version", "1.0.0"}};
    EXPECT_EQ(filled.call("index_stats", R"({"limit":1})"), expected);
    filled.status.lastRound = {.endedAt = 1'704'450'620, .finds = 2};
    EXPECT_EQ(at(filled.call("index_stats", "{}"), "lastComparison"),
              (JSONObject{{"endedAt", "2024-01-05T10:30:20Z"}, {"foldersFound", 2}}));
    filled.status.isReady = false;
    EXPECT_EQ(at(filled.call("index_stats", "{}"), "ready"), false);
}

}  // namespace
}  // namespace dovra
