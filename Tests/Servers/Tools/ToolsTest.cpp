#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Support/ToolCaller.hpp"

namespace dovra {
namespace {

/// The tools and a small tree.
class Tools : public testing::Test {
protected:
    /// Arguments, a place in the result, and the value there, as JSON. ROOT stands for the path of the tree.
    struct Case {
        std::string arguments, place, expected;
    };

    /// Calls a tool on the present tree.
    void expect(const char* tool, const std::vector<Case>& cases) const {
        const test::ToolCaller caller(tree);
        for (const auto& [arguments, place, expected] : cases) {
            EXPECT_EQ(test::at(caller.call(tool, inTree(arguments)), place),
                      JSONValue::parse(inTree(expected)))
                << tool << arguments << ", " << place;
        }
    }

    const test::TemporaryTree tree;

private:
    std::string inTree(std::string text) const {
        for (std::size_t at = text.find("ROOT"); at != std::string::npos; at = text.find("ROOT", at))
            text.replace(at, 4, tree.path());
        return text;
    }
};

TEST_F(Tools, DescribeFilesAndFolders) {
    tree.write("sub/data.bin", std::string(1'200'000, 'x'));
    tree.makeFolder("sub/data.d");
    const auto time =
        std::chrono::file_clock::from_sys(std::chrono::sys_seconds(std::chrono::seconds(1704450030)));
    for (const char* name : {"sub/data.bin", "sub/data.d"})
        std::filesystem::last_write_time(tree.path(name), time);
    expect("search_files",
           {{R"({"query":" data\n"})", "", R"({"query":"data","total":2,"returned":2,"results":[
               {"name":"data.bin","path":"ROOT/sub/data.bin","directory":"ROOT/sub","type":"file",
                "size":"1.2 MB","bytes":1200000,"modified":"2024-01-05T10:20:30Z"},
               {"name":"data.d","path":"ROOT/sub/data.d","directory":"ROOT/sub","type":"folder",
                "modified":"2024-01-05T10:20:30Z"}]})"}});
}

TEST_F(Tools, ComposeAQueryFromTheSwitchesSortAndLimit) {
    tree.write("b/a.x", "22");
    tree.write("a/c.x", "4444");
    tree.write("c/b.x", "1");
    const std::string query = R"({"query":"a \"b\" c")";
    const std::string all = R"("match_case":true,"whole_word":true,"match_path":true)";
    expect("search_files",
           {{query + "}", "query", R"("a \"b\" c")"},
            {query + "," + all + "}", "query", R"("case: ww: path: a \"b\" c")"},
            {query + R"(,"regex":true})", "query", R"("regex:\"a b c\"")"},
            {query + R"(,"regex":true,)" + all + "}", "query", R"("case: regex:\"a b c\"")"},
            {query + R"(,"fuzzy":true,"regex":true,)" + all + "}", "query", R"("fuzzy:\"a b c\"")"},
            {query + R"(,"fuzzy":1,"regex":"true","match_case":null})", "query", R"("a \"b\" c")"},
            {R"({"query":".x","order":"desc"})", "results/*/name", R"(["c.x","b.x","a.x"])"},
            {R"({"query":".x","sort":"path"})", "results/*/name", R"(["c.x","a.x","b.x"])"},
            {R"({"query":".x","sort":"size","order":"up"})", "results/*/name", R"(["b.x","a.x","c.x"])"},
            {R"({"query":".x","sort":"colour"})", "results/*/name", R"(["a.x","b.x","c.x"])"},
            {R"({"query":".x","limit":0})", "results/*/name", R"(["a.x"])"},
            {R"({"query":".x","limit":1})", "total", "3"}});
}

TEST_F(Tools, LookWithinAFolderOrText) {
    tree.write("Src/one\xFF.x", "todo");
    tree.write("Src/two.x");
    for (int i = 0; i < 600; ++i)
        tree.write(fmt::format("other/one{}.x", i));
    const std::string one = R"({"query":"one","limit":1,"within":")";
    const std::string found = R"(["ROOT/Src/one\ufffd.x"])";
    expect("search_files", {// The last one of many.
                            {one + R"(ROOT/other/../Src/"})", "results/*/path", found},
                            {one + R"(src/o"})", "results/*/path", found},
                            {one + R"(src/o","match_case":true})", "results/*/path", "[]"},
                            {one + R"(Src","match_case":true})", "results/*/path", found},
                            {one + R"(src/o"})", "total", "601"},
                            {R"({"query":"(","within":"nowhere"})", "returned", "0"}});
    // Any name may be one of a folder.
    for (const char* folder : {"a*b", "a?b", "a\"b", "aXb"})
        tree.write(std::string(folder) + "/file", "todo");
    for (const char* folder : {"a*b", "a?b", "a\\\"b"})
        expect("search_content",
               {{fmt::format(R"({{"query":"todo","within":"{}"}})", folder), "filesMatched", "1"}});
}

TEST_F(Tools, TellOfMatchesThatWereGivenUp) {
    tree.write(std::string(60, 'a'));
    const std::string query = R"({"query":"regex:(.*)*\\d$")";
    const std::string given =
        R"("1 name(s) took the regular expression too many steps and count as no match")";
    for (const char* tool : {"search_files", "find_duplicate_files"}) {
        expect(tool, {{query + "}", "incomplete", given},
                      {query + R"(,"within":"ROOT"})", "incomplete", given},
                      {R"({"query":"regex:^a+$"})", "incomplete", "null"}});
    }
}

TEST_F(Tools, SayWhatIsWrong) {
    const std::string needed = R"("`query` is required.")";
    const std::string unbounded =
        R"("Scope the search with `ext` (e.g. \"swift\") and/or `within` (a folder or path substring). )"
        R"(Content search reads files on demand, so it must be bounded.")";
    const std::string nowhere =
        R"("`within`: nothing in the index, which holds what lies below ROOT, has \"/absent\" in its path.")";
    for (const char* arguments : {"{}", R"({"query":""})", R"({"query":" \n"})", R"({"query":7})", "[]", "7"})
        expect("search_files", {{arguments, "error", needed}});
    for (const char* rest : {"", R"(,"match_case":true)", R"(,"ext":" , .;","within":" ")", R"(,"ext":1)"})
        expect("search_content", {{fmt::format(R"({{"query":"a"{}}})", rest), "error", unbounded}});
    expect("search_files",
           {{R"({"query":"é(b","regex":true})", "error",
             R"("`query` is no valid regular expression: missing closing parenthesis (at character 4).")"},
            {R"({"query":"a","within":"/absent/"})", "error", nowhere}});
    expect("search_content",
           {{R"({"ext":"x"})", "error", R"("`query` is required (the text to find inside files).")"},
            {R"({"query":"todo","within":"/absent/"})", "error", nowhere}});
    expect("find_duplicate_files", {{R"({"within":"/absent/"})", "error", nowhere}});
    expect("disk_usage",
           {{R"({"path":"/nowhere"})", "error",
             R"("`path`: \"/nowhere\" is no folder in the index, which holds what lies below ROOT.")"}});
}

TEST_F(Tools, ReportLinesOfTheFilesInScope) {
    tree.write("src/b.swift", "x\nTODO one\n\ntodo two\n");
    for (const char* name : {"src/a.ts", "src/c.txt", "lib/d.swift"})
        tree.write(name, "todo");
    tree.makeFolder("src/todo.swift");
    tree.write("src/f.swift", std::string("todo\0", 5));
    ASSERT_EQ(std::system(("mkfifo " + tree.path("src/pipe.swift")).c_str()), 0);
    expect("search_content", {{R"({"query":"todo","ext":" .SWIFT; ts","within":"SRC/"})", "",
                               R"({"query":"todo","scope":"ext:swift;ts within:SRC/","filesScanned":3,
                "filesMatched":2,"totalMatches":3,"truncated":false,"results":[
                {"path":"ROOT/src/a.ts","matches":[{"line":1,"text":"todo"}]},
                {"path":"ROOT/src/b.swift","matches":[
                 {"line":2,"text":"TODO one"},{"line":4,"text":"todo two"}]}]})"},
                              {R"({"query":"TODO","ext":"swift","match_case":true})", "results/*/path",
                               R"(["ROOT/src/b.swift"])"},
                              // No operator of the query language widens the scope.
                              {R"({"query":"todo","ext":"none | swift"})", "filesScanned", "0"},
                              {R"({"query":"todo","ext":"none\" | ext:\"swift"})", "filesScanned", "0"}});
}

TEST_F(Tools, StopAtTheirLimits) {
    for (const char* name : {"a.x", "b.x", "c.x"})
        tree.write(name, "1\n1\n1\n1\n1\n1\n1\n");
    const std::string one = R"({"query":"1","ext":"x")";
    expect("search_content", {{one + R"(,"max_files":2,"max_matches_per_file":3})", "truncated", "true"},
                              {one + R"(,"max_files":2})", "filesScanned", "2"},
                              {one + R"(,"max_files":2,"max_matches_per_file":3})", "totalMatches", "6"},
                              {one + R"(,"max_files":3})", "truncated", "false"},
                              {one + "}", "totalMatches", "15"},
                              {one + R"(,"max_files":-1,"max_matches_per_file":-1})", "totalMatches", "1"},
                              {one + R"(,"max_matches_per_file":1000})", "totalMatches", "21"}});
    // It gives up at the limit for candidates.
    for (int i = 3; i < 5000; ++i)
        tree.write(fmt::format("{}.x", i));
    expect("search_content", {{R"({"query":"2","ext":"x"})", "truncated", "false"}});
    tree.write("one more.x");
    expect("search_content", {{R"({"query":"2","ext":"x"})", "truncated", "true"}});
}

TEST_F(Tools, ReportDuplicatesAndWhatTheyWaste) {
    for (const char* name : {"one folder/1.txt", "one folder/2.txt", "b/3.txt"})
        tree.write(name, "0123456789");
    for (const char* name : {"b/1.jpg", "b/2.jpg"})
        tree.write(name, std::string(2000, 'x'));
    tree.write("other.txt", "9876543210");
    expect("find_duplicate_files", {{R"({"limit":1})", "duplicateSets", "2"},
                                    {"{}", "reclaimableBytes", "2020"},
                                    {"{}", "reclaimable", R"("2 KB")"},
                                    {"{}", "sets/*/copies", "[2,3]"},
                                    {R"({"limit":1})", "sets/*/bytesEach", "[2000]"},
                                    {"{}", "sets/0/size", R"("2 KB")"},
                                    {R"({"query":"ext:txt"})", "reclaimableBytes", "20"},
                                    // No name on the way to the tree holds a space.
                                    {R"({"within":"ONE FOLDER/"})", "sets/*/copies", "[2]"},
                                    {R"({"within":"ONE FOLDER/"})", "reclaimableBytes", "10"},
                                    {R"({"within":"3.txt"})", "duplicateSets", "0"},
                                    {R"({"query":"\".txt"})", "duplicateSets", "1"}});
}

TEST_F(Tools, ReportTheLargestFolders) {
    tree.write("a/x", std::string(3000, 'x'));
    tree.write("a/sub/y", std::string(1000, 'x'));
    tree.write("b/z", "1");
    expect("disk_usage",
           {{"{}", "directories/*/path", R"(["ROOT","ROOT/a","ROOT/a/sub","ROOT/b"])"},
            {R"({"limit":-3})", "directories", R"([{"path":"ROOT","size":"4 KB","files":3}])"},
            {R"({"path":"ROOT/b/../a/"})", "directories/*/path", R"(["ROOT/a","ROOT/a/sub"])"}});
}

TEST_F(Tools, ReportHowMuchIsThereAndWhetherThatIsAll) {
    expect("index_stats", {{"{}", "ready", "false"}});  // as long as it is empty
    tree.write("a/b");
    expect("index_stats", {{R"({"limit":1})", "", R"({"indexedItems":2,"root":"ROOT","ready":true,
               "watching":"made up","lastComparison":null,"server":"dovra","version":"1.0.0"})"}});
    test::ToolCaller caller(tree);
    caller.status = {.isReady = false, .lastRound = {{.endedAt = 1'704'450'620, .finds = 2}}};
    EXPECT_EQ(test::at(caller.call("index_stats", "{}"), "lastComparison"),
              (JSONObject{{"endedAt", "2024-01-05T10:30:20Z"}, {"foldersFound", 2}}));
    EXPECT_EQ(test::at(caller.call("index_stats", "{}"), "ready"), false);
}

}  // namespace
}  // namespace dovra
