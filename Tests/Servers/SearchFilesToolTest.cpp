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

class SearchFiles : public testing::Test {
protected:
    /// The reply to a query with further arguments, of what the tree holds now.
    JSONValue search(const std::string& query, const std::string& rest = "") const {
        return test::ToolCaller(tree).call("search_files", R"({"query":")" + query + "\"" + rest + "}");
    }
    Values found(const std::string& query, const std::string& rest, const char* member) const {
        return each(at(search(query, rest), "results"), member);
    }

    const test::TemporaryTree tree;
};

TEST_F(SearchFiles, DescribesFilesAndFolders) {
    tree.write("sub/data.bin", std::string(1'200'000, 'x'));
    std::filesystem::last_write_time(
        tree.path("sub/data.bin"),
        std::chrono::file_clock::from_sys(std::chrono::sys_seconds(std::chrono::seconds(1704450030))));
    tree.makeFolder("sub/data.d");
    const JSONValue found = search(" data\\n");
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

TEST_F(SearchFiles, ComposesItsQueryFromTheSwitches) {
    const std::pair<const char*, const char*> examples[] = {
        {"", R"(a "b" c)"},
        {R"(,"match_path":true,"whole_word":true,"match_case":true)", R"(case: ww: path: a "b" c)"},
        {R"(,"regex":true)", R"(regex:"a b c")"},
        {R"(,"regex":true,"match_case":true,"whole_word":true,"match_path":true)", R"(case: regex:"a b c")"},
        {R"(,"fuzzy":true,"regex":true,"match_case":true)", R"(fuzzy:"a b c")"},
        {R"(,"fuzzy":1,"regex":"true","match_case":null)", R"(a "b" c)"},
    };
    for (const auto& [switches, composed] : examples)
        EXPECT_EQ(at(search(R"(a \"b\" c)", switches), "query"), composed);
}

TEST_F(SearchFiles, NeedsAQuery) {
    for (const char* arguments : {"{}", R"({"query":""})", R"({"query":" \n"})", R"({"query":7})", "[]", "7"})
        EXPECT_EQ(test::ToolCaller(tree).failure("search_files", arguments), "`query` is required.");
}

TEST_F(SearchFiles, SortsAndLimits) {
    tree.write("b/a.x", "22");
    tree.write("a/c.x", "4444");
    tree.write("c/b.x", "1");
    const auto names = [&](const std::string& rest) { return found(".x", rest, "name"); };
    EXPECT_EQ(names(R"(,"order":"desc")"), (Values{"c.x", "b.x", "a.x"}));
    EXPECT_EQ(names(R"(,"sort":"path")"), (Values{"c.x", "a.x", "b.x"}));
    EXPECT_EQ(names(R"(,"sort":"size","order":"up")"), (Values{"b.x", "a.x", "c.x"}));
    EXPECT_EQ(names(R"(,"sort":"colour")"), (Values{"a.x", "b.x", "c.x"}));
    EXPECT_EQ(names(R"(,"limit":0)"), (Values{"a.x"}));
    EXPECT_EQ(at(search(".x", R"(,"limit":1)"), "total"), 3);
}

TEST_F(SearchFiles, LooksWithinAFolderOrText) {
    tree.write("Src/one\xFF.x");
    tree.write("Src/two.x");
    for (int i = 0; i < 600; ++i)
        tree.write(fmt::format("other/one{}.x", i));
    const auto paths = [&](const std::string& within, const std::string& rest = "") {
        return found("one", R"(,"limit":1,"within":")" + within + "\"" + rest, "path");
    };
    const Values expected = {tree.path("Src/one\xEF\xBF\xBD.x")};
    EXPECT_EQ(paths(tree.path("other/../Src/")), expected) << "the last of many, of a name that is no text";
    EXPECT_EQ(paths("src/o"), expected);
    EXPECT_EQ(paths("src/o", R"(,"match_case":true)"), Values());
    EXPECT_EQ(paths("Src", R"(,"match_case":true)"), expected);
    EXPECT_EQ(at(search("one", R"(,"within":"src/o")"), "total"), 601);
}

TEST_F(SearchFiles, TellsOfMatchesThatWereGivenUp) {
    tree.write(std::string(60, 'a'));
    const test::ToolCaller caller(tree);
    const std::string query = R"("query":"regex:(.*)*\\d$")";
    const std::string within = fmt::format(R"("within":"{}")", tree.path());
    for (const std::string& arguments : {query, query + "," + within}) {
        for (const char* tool : {"search_files", "find_duplicate_files"}) {
            EXPECT_EQ(at(caller.call(tool, "{" + arguments + "}"), "incomplete"),
                      "1 name(s) took the regular expression too many steps and count as no match")
                << tool << arguments;
        }
    }
    EXPECT_EQ(search("regex:^a+$").object()->find("incomplete"), nullptr);
}

TEST_F(SearchFiles, SaysWhatIsWrong) {
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

}  // namespace
}  // namespace dovra
