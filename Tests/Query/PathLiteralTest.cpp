#include <fmt/core.h>
#include <gtest/gtest.h>
#include <string>

#include "Query/PathLiteral.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {
namespace {

std::int64_t hitCount(const FileIndex& index, std::string_view literal) {
    const ReadGuard guard(index.rwlock);
    const auto entries = static_cast<EntryId>(index.entriesLocked().size());
    EntrySet hits(index.entriesLocked().size());
    PathLiteral(index, literal, true).scan({0, entries}, hits);
    return hits.count();
}

TEST(PathLiteral, CountsSlashes) {
    EXPECT_FALSE(PathLiteral::canSearch(""));
    std::string literal;
    for (int i = 0; i < 62; ++i)
        literal += "/a";
    EXPECT_TRUE(PathLiteral::canSearch(literal));
    EXPECT_FALSE(PathLiteral::canSearch(literal + "/"));
    EXPECT_EQ(hitCount(*test::makeIndex({literal + "/a/a/b"}), literal), 4);
}

// The names of many folders are searched together.
TEST(PathLiteral, FindsEachOfManyFolders) {
    std::vector<test::IndexItem> files;
    for (int i = 100; i < 400; ++i)
        files.emplace_back(fmt::format("/{}x/file", i));
    const auto index = test::makeIndex(files);
    for (int i = 100; i < 400; ++i) {
        EXPECT_EQ(hitCount(*index, fmt::format("{}X", i)), 2) << i;
        EXPECT_EQ(hitCount(*index, fmt::format("x{}", i)), 0) << i;
    }
}

}  // namespace
}  // namespace dovra
