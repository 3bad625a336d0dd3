#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "Support/ToolCaller.hpp"

namespace dovra {
namespace {

using test::at;
using test::each;
using Values = JSONValue::Array;

TEST(SearchFiles, DescribesFilesAndFolders) {
    const test::TemporaryTree tree;
    tree.write("sub/data.bin", std::string(1'200'000, 'x'));
    std::filesystem::last_write_time(
        tree.path("sub/data.bin"),
        std::chrono::file_clock::from_sys(std::chrono::sys_seconds(std::chrono::seconds(1704450030))));
    tree.makeFolder("sub/data.d");
    const JSONValue found = test::ToolCaller(tree).call("search_files", R"({"query":" data\n"})");
    EXPECT_EQ(at(found, "query"), "data");
    EXPECT_EQ(at(found, "total"), 2);
    EXPECT_EQ(at(found, "returned"), 2);
    const Values& rows = *at(found, "results").array();
    EXPECT_EQ(rows.at(0), (JSONObject{{"name", "data.bin"},
                                      {"path", tree.path("sub/data.bin")},
                                      {"directory", tree.path("sub")},
                                      {"type", "file"},
                                      {"size", "1.2 MB"},
                                      {"bytes", 1'200'000},
                                      {"modified", "2024-01-05T10:20:30Z"}}));
    EXPECT_EQ(at(rows.at(1), "type"), "folder");
    EXPECT_EQ(rows.at(1).object()->find("size"), nullptr);
    EXPECT_EQ(rows.at(1).object()->find("bytes"), nullptr);
}

TEST(SearchFiles, ComposesItsQueryFromTheSwitches) {
    const test::TemporaryTree tree;
    const test::ToolCaller caller(tree);
    const struct {
        const char* switches;
        const char* composed;
    } examples[] = {
        {"", R"(a "b" c)"},
        {R"("match_case":true)", R"(case: a "b" c)"},
        {R"("match_path":true,"whole_word":true,"match_case":true)", R"(case: ww: path: a "b" c)"},
        {R"("regex":true)", R"(regex:"a b c")"},
        {R"("regex":true,"match_case":true,"whole_word":true,"match_path":true)", R"(case: regex:"a b c")"},
        {R"("fuzzy":true,"regex":true,"match_case":true)", R"(fuzzy:"a b c")"},
        {R"("fuzzy":1,"regex":"true","match_case":null)", R"(a "b" c)"},
    };
    for (const auto& [switches, composed] : examples) {
        const std::string rest = std::string(*switches == '\0' ? "" : ",") + switches;
        const JSONValue found = caller.call("search_files", R"({"query":"a \"b\" c")" + rest + "}");
        EXPECT_EQ(at(found, "query"), composed);
    }
}

TEST(SearchFiles, NeedsAQuery) {
    const test::TemporaryTree tree;
    for (const char* arguments : {"{}", R"({"query":""})", R"({"query":" \n"})", R"({"query":7})", "[]", "7"})
        EXPECT_EQ(test::ToolCaller(tree).failure("search_files", arguments), "`query` is required.");
}

TEST(SearchFiles, SortsAndLimits) {
    const test::TemporaryTree tree;
    tree.write("b/a.x", "22");
    tree.write("a/c.x", "4444");
    tree.write("c/b.x", "1");
    const test::ToolCaller caller(tree);
    const auto names = [&](const std::string& rest) {
        return each(at(caller.call("search_files", R"({"query":".x")" + rest + "}"), "results"), "name");
    };
    EXPECT_EQ(names(""), (Values{"a.x", "b.x", "c.x"}));
    EXPECT_EQ(names(R"(,"order":"desc")"), (Values{"c.x", "b.x", "a.x"}));
    EXPECT_EQ(names(R"(,"sort":"path")"), (Values{"c.x", "a.x", "b.x"}));
    EXPECT_EQ(names(R"(,"sort":"size","order":"up")"), (Values{"b.x", "a.x", "c.x"}));
    EXPECT_EQ(names(R"(,"sort":"colour")"), (Values{"a.x", "b.x", "c.x"}));
    EXPECT_EQ(names(R"(,"limit":0)"), (Values{"a.x"}));
    EXPECT_EQ(names(R"(,"limit":2.9)"), (Values{"a.x", "b.x"}));
    EXPECT_EQ(at(caller.call("search_files", R"({"query":".x","limit":1})"), "total"), 3);
}

TEST(SearchFiles, LooksWithinAFolderOrText) {
    const test::TemporaryTree tree;
    tree.write("Src/one.x");
    tree.write("Src/two.x");
    tree.write("other/one.x");
    const test::ToolCaller caller(tree);
    const auto paths = [&](const std::string& within, const std::string& rest = "") {
        const JSONValue found =
            caller.call("search_files", R"({"query":"one.x","within":")" + within + "\"" + rest + "}");
        EXPECT_EQ(at(found, "total"), 2);
        return each(at(found, "results"), "path");
    };
    const Values expected = {tree.path("Src/one.x")};
    EXPECT_EQ(paths(tree.path("other/../Src/")), expected);
    EXPECT_EQ(paths("src/o"), expected);
    EXPECT_EQ(paths("src/o", R"(,"match_case":true)"), Values());
    EXPECT_EQ(paths("Src", R"(,"match_case":true)"), expected);
    EXPECT_EQ(paths("").size(), 2U);
}

TEST(SearchFiles, SaysWhatIsWrong) {
    const test::TemporaryTree tree;
    const test::ToolCaller caller(tree);
    EXPECT_EQ(caller.failure("search_files", R"({"query":"é(b","regex":true})"),
              "`query` is no valid regular expression: missing closing parenthesis (at character 4).");
    EXPECT_EQ(
        caller.failure("search_files", R"({"query":"a","within":"/nowhere/x"})"),
        fmt::format(
            "`within`: nothing in the index, which holds what lies below {}, has \"/nowhere/x\" in its path.",
            tree.path()));
    EXPECT_EQ(at(caller.call("search_files", R"({"query":"(","within":"nowhere"})"), "returned"), 0);
}

TEST(SearchFiles, LooksAtAllMatchesForWhatIsWithin) {
    const test::TemporaryTree tree;
    for (int i = 0; i < 600; ++i)
        tree.write(fmt::format("a/{:03}.x", i));
    tree.write("deep/999.x");
    const JSONValue found =
        test::ToolCaller(tree).call("search_files", R"({"query":".x","within":"deep","limit":1})");
    EXPECT_EQ(each(at(found, "results"), "path"), Values{tree.path("deep/999.x")});
    EXPECT_EQ(at(found, "total"), 601);
}

TEST(SearchFiles, RepairsNamesThatAreNoText) {
    const test::TemporaryTree tree;
    tree.write("bad\xFF.x");
    const JSONValue found = test::ToolCaller(tree).call("search_files", R"({"query":"bad"})");
    EXPECT_EQ(each(at(found, "results"), "name"), Values{"bad\xEF\xBF\xBD.x"});
}

}  // namespace
}  // namespace dovra
