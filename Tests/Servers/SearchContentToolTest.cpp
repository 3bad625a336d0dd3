#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "Support/ToolCaller.hpp"

namespace dovra {
namespace {

using test::at;

TEST(SearchContent, NeedsAQueryAndAScope) {
    const test::TemporaryTree tree;
    const test::ToolCaller caller(tree);
    EXPECT_EQ(caller.failure("search_content", R"({"ext":"txt"})"),
              "`query` is required (the text to find inside files).");
    const std::string message =
        "Scope the search with `ext` (e.g. \"swift\") and/or `within` (a folder or path substring). "
        "Content search reads files on demand, so it must be bounded.";
    for (const char* arguments : {R"({"query":"a"})", R"({"query":"a","match_case":true})",
                                  R"({"query":"a","ext":" , .;","within":" "})", R"({"query":"a","ext":1})"})
        EXPECT_EQ(caller.failure("search_content", arguments), message);
}

TEST(SearchContent, ReportsLinesOfTheFilesInScope) {
    const test::TemporaryTree tree;
    tree.write("src/b.swift", "x\nTODO one\n\ntodo two\n");
    tree.write("src/a.ts", "todo");
    tree.write("src/c.txt", "todo");
    tree.write("lib/d.swift", "todo");
    tree.makeFolder("src/todo.swift");
    tree.write("src/f.swift", std::string("todo\0", 5));
    ASSERT_EQ(std::system(("mkfifo " + tree.path("src/pipe.swift")).c_str()), 0);
    const test::ToolCaller caller(tree);
    const auto expected = [&](const std::string& head, const std::string& results) {
        return *JSONValue::parse("{" + head + R"(,"truncated":false,"results":[)" + results + "]}");
    };
    const auto file = [&](const std::string& name, const std::string& matches) {
        return R"({"path":")" + tree.path(name) + R"(","matches":[)" + matches + "]}";
    };
    EXPECT_EQ(
        caller.call("search_content", R"({"query":"todo","ext":" .SWIFT; ts","within":"SRC/"})"),
        expected(R"("query":"todo","scope":"ext:swift;ts within:SRC/","filesScanned":3,"filesMatched":2,)"
                 R"("totalMatches":3)",
                 file("src/a.ts", R"({"line":1,"text":"todo"})") + "," +
                     file("src/b.swift", R"({"line":2,"text":"TODO one"},{"line":4,"text":"todo two"})")));
    EXPECT_EQ(
        caller.call("search_content", R"({"query":"TODO","ext":"swift","match_case":true})"),
        expected(R"("query":"TODO","scope":"ext:swift","filesScanned":3,"filesMatched":1,"totalMatches":1)",
                 file("src/b.swift", R"({"line":2,"text":"TODO one"})")));
    EXPECT_EQ(
        caller.failure("search_content", R"({"query":"todo","within":"/absent/"})"),
        fmt::format(
            "`within`: nothing in the index, which holds what lies below {}, has \"/absent\" in its path.",
            tree.path()));
    // What looks like an operator of the query language is part of the scope and does not widen it.
    EXPECT_EQ(
        caller.call("search_content", R"({"query":"todo","ext":"none | swift"})"),
        expected(
            R"("query":"todo","scope":"ext:none | swift","filesScanned":0,"filesMatched":0,"totalMatches":0)",
            ""));
}

TEST(SearchContent, TakesAnyNameForAFolder) {
    const test::TemporaryTree tree;
    for (const char* folder : {"a*b", "a?b", "a\"b", "aXb"})
        tree.write(std::string(folder) + "/file", "todo");
    const test::ToolCaller caller(tree);
    for (const char* folder : {"a*b", "a?b", "a\\\"b"}) {
        const std::string arguments = fmt::format(R"({{"query":"todo","within":"{}"}})", folder);
        EXPECT_EQ(at(caller.call("search_content", arguments), "filesMatched"), 1) << folder;
    }
}

TEST(SearchContent, SaysThatItGaveUpAtItsCandidates) {
    const test::TemporaryTree tree;
    for (int i = 0; i < 5000; ++i)
        tree.write(fmt::format("{}.x", i));
    const auto isTruncated = [&] {
        return at(test::ToolCaller(tree).call("search_content", R"({"query":"1","ext":"x"})"), "truncated");
    };
    EXPECT_EQ(isTruncated(), false);
    tree.write("one more.x");
    EXPECT_EQ(isTruncated(), true);
}

TEST(SearchContent, StopsAtItsLimits) {
    const test::TemporaryTree tree;
    for (const char* name : {"a.x", "b.x", "c.x"})
        tree.write(name, "1\n1\n1\n1\n1\n1\n1\n");
    const test::ToolCaller caller(tree);
    const auto found = [&](const std::string& limits) {
        return caller.call("search_content", R"({"query":"1","ext":"x")" + limits + "}");
    };
    const JSONValue some = found(R"(,"max_files":2,"max_matches_per_file":3)");
    EXPECT_EQ(at(some, "truncated"), true);
    EXPECT_EQ(at(some, "filesScanned"), 2);
    EXPECT_EQ(at(some, "totalMatches"), 6);
    EXPECT_EQ(at(found(R"(,"max_files":3)"), "truncated"), false);
    EXPECT_EQ(at(found(""), "totalMatches"), 15);
    EXPECT_EQ(at(found(R"(,"max_files":-1,"max_matches_per_file":-1)"), "totalMatches"), 1);
    EXPECT_EQ(at(found(R"(,"max_matches_per_file":1000)"), "totalMatches"), 21);
}

}  // namespace
}  // namespace dovra
