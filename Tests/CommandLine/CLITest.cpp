#include <cstdlib>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "CommandLine/CLI.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using testing::HasSubstr;
using Printed = std::pair<std::string, std::string>;

/// What the search below a tree prints, each path without the tree's own; then the message on standard error.
Printed searched(const test::TemporaryTree& tree, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--in", tree.path() + "/./x/.."});
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = CLI::runSearch(arguments);
    std::string output = testing::internal::GetCapturedStdout();
    std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(status, 0);
    for (std::size_t at = 0; (at = output.find(tree.path(), at)) != std::string::npos;)
        output.erase(at, tree.path().size());
    return {output, errors};
}

std::size_t lineCount(const std::string& text) {
    return static_cast<std::size_t>(std::ranges::count(text, '\n'));
}

TEST(ParseSortKey, KnowsItsWordsInAnyCase) {
    using Key = SortSpec::Key;
    const std::pair<std::string_view, std::optional<Key>> cases[] = {
        {"name", Key::name},           {"PATH", Key::path},
        {"Size", Key::size},           {"date", Key::modified},
        {"modified", Key::modified},   {"dm", Key::modified},
        {"relevance", Key::relevance}, {"score", Key::relevance},
        {"rank", Key::relevance},      {"", std::nullopt},
        {"names", std::nullopt},       {" name", std::nullopt},
        {"dc", std::nullopt},
    };
    for (const auto& [word, key] : cases)
        EXPECT_EQ(parseSortKey(word), key) << word;
}

TEST(RunSearch, PrintsPathsAndCountsOnStandardError) {
    const test::TemporaryTree tree;
    tree.write("a/foo bar", "1234");
    tree.write("foo", "12");
    tree.write("line\nfeed\xFF");
    EXPECT_EQ(searched(tree, {"foo"}), Printed("/foo\n/a/foo bar\n", "2 result(s)\n"));
    EXPECT_EQ(searched(tree, {"foo", "bar"}), Printed("/a/foo bar\n", "1 result(s)\n"));
    EXPECT_EQ(searched(tree, {"--", "--desc"}), Printed("", "0 result(s)\n"));
    EXPECT_EQ(searched(tree, {"-s", "SIZE", "--desc", "foo"}).first, "/a/foo bar\n/foo\n");
    EXPECT_EQ(searched(tree, {"-s", "size", "-d", "foo", "--asc"}).first, "/foo\n/a/foo bar\n");
    EXPECT_EQ(searched(tree, {"-s", "nonsense", "foo"}).first, "/foo\n/a/foo bar\n");
    EXPECT_EQ(searched(tree, {"--trigram", "regex:fo+ b"}).first, "/a/foo bar\n");
    EXPECT_EQ(searched(tree, {"-0", "feed"}).first, std::string("/line\nfeed\xFF\0", 12));
    EXPECT_EQ(searched(tree, {"--in", tree.path("missing"), "foo"}), Printed("", "0 result(s)\n"));
    EXPECT_EQ(searched(tree, {"foo", "--limit"}).second, "2 result(s)\n");
}

TEST(RunSearch, LimitsTheLinesButNotTheCount) {
    const test::TemporaryTree tree;
    for (int i = 0; i < 150; ++i)
        tree.write(fmt::format("{}", i));
    const std::pair<const char*, std::size_t> cases[] = {
        {"7", 7},   {"+7", 7},    {"007", 7},   {"0", 150},   {"-1", 150},  {"9223372036854775807", 150},
        {"x", 100}, {"", 100},    {"7x", 100},  {" 7", 100},  {"0x7", 100}, {"+", 100},
        {"-", 100}, {"++7", 100}, {"+-7", 100}, {"-+7", 100}, {"7.5", 100}};
    for (const auto& [limit, lines] : cases) {
        const auto [output, errors] = searched(tree, {"-n", limit});
        EXPECT_EQ(lineCount(output), lines) << limit;
        EXPECT_EQ(errors, "150 result(s)\n");
    }
    EXPECT_EQ(lineCount(searched(tree, {"-n", "7", "--limit", "x"}).first), 7U);
}

TEST(RunSearch, ExplainsItself) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(CLI::runSearch(std::vector<std::string>{"--help"}), 0);
    const std::string help = testing::internal::GetCapturedStdout();
    for (const char* expected : {"--in, -i <folder>", "--print0", "Query language", "regex:", "image:"})
        EXPECT_THAT(help, HasSubstr(expected));
}

}  // namespace
}  // namespace dovra
