#include <filesystem>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Query/ContentMatcher.hpp"
#include "Support/DeepFile.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

TEST(ContentMatcher, FoldsByTheRuleOfItsNeedle) {
    using std::string_literals::operator""s;
    const test::TemporaryTree tree;
    const std::string file = tree.write("file", "binary \0 Hello \xFF ÉCOLE e\u0301tude"s);
    const std::tuple<const char*, bool, bool> cases[] = {
        {"hello", false, true}, {"hello", true, false}, {"Hello", true, true}, {"", false, true},
        {"école", false, true}, {"école", true, false}, {"étude", true, true}, {"ecole", false, false},
    };
    for (const auto& [needle, caseSensitive, expected] : cases)
        EXPECT_EQ(ContentMatcher(needle, caseSensitive).matchesFile(file), expected) << needle;
}

TEST(ContentMatcher, ReadsRegularFilesOnly) {
    const test::TemporaryTree tree;
    const ContentMatcher anything("", false);
    EXPECT_TRUE(anything.matchesFile(tree.write("empty")));
    EXPECT_FALSE(anything.matchesFile(tree.path()));
    const test::DeepFile deep(tree.path(), "text far down");
    EXPECT_TRUE(ContentMatcher("FAR", false).matchesFile(deep.path));
}

constexpr std::size_t kibi = 1024;

/// Files of filler with `text` once: one file for each place around the end of the first block.
void expectAcrossBlocks(std::size_t block, const std::string& filler, const std::string& text,
                        const ContentMatcher& matcher, bool expected) {
    const test::TemporaryTree tree;
    std::string fillers;
    while (fillers.size() < block + kibi)
        fillers += filler;
    for (std::size_t place = block - 60; place < block + 140; ++place) {
        const std::size_t at = place / filler.size() * filler.size();
        const std::string content = fmt::format("{}{}{}", fillers.substr(0, at), text, fillers);
        const std::string file = tree.write("file", content);
        ASSERT_EQ(matcher.matchesFile(file), expected) << at;
        // Some file systems write a file out at once when it is truncated and written again.
        std::filesystem::remove(file);
    }
}

TEST(ContentMatcher, FindsAcrossBlocks) {
    expectAcrossBlocks(1024 * kibi, "e", "the Needle", ContentMatcher("The needlE", false), true);
    expectAcrossBlocks(64 * kibi, "ä", "Žluťoučký", ContentMatcher("žluťoučký", false), true);
    expectAcrossBlocks(64 * kibi, "\xFF", "Žluťoučký", ContentMatcher("žluťoučký", false), true);
    expectAcrossBlocks(64 * kibi, "\u0301", "Žlu\u0301", ContentMatcher("žlú", false), false);
    expectAcrossBlocks(64 * kibi, "\u0301", "Žlu", ContentMatcher("žl", false), true);
    // The end of a block does not part a letter from its marks.
    expectAcrossBlocks(64 * kibi, "й", "и\u0306", ContentMatcher("и", false), false);
    expectAcrossBlocks(64 * kibi, "й", "и", ContentMatcher("и", false), true);
    const test::TemporaryTree tree;
    const std::string file = tree.write("file", std::string(5000 * kibi, '.') + "last Ž");
    EXPECT_TRUE(ContentMatcher("LAST", false).matchesFile(file));
    EXPECT_TRUE(ContentMatcher("ž", false).matchesFile(file));
}

}  // namespace
}  // namespace dovra
