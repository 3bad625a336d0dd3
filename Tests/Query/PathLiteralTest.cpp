#include <gtest/gtest.h>
#include <string>

#include "Query/PathLiteral.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {
namespace {

TEST(PathLiteral, CountsSlashes) {
    EXPECT_FALSE(PathLiteral::canSearch(""));
    std::string literal;
    for (int i = 0; i < 62; ++i)
        literal += "/a";
    EXPECT_TRUE(PathLiteral::canSearch(literal));
    EXPECT_FALSE(PathLiteral::canSearch(literal + "/"));
    const auto deep = test::makeIndex({literal + "/a/a/b"});
    const ReadGuard guard(deep->rwlock);
    EntrySet hits(deep->entriesLocked().size());
    PathLiteral(*deep, literal, true).scan({0, static_cast<EntryId>(deep->entriesLocked().size())}, hits);
    EXPECT_EQ(hits.count(), 4);
}

}  // namespace
}  // namespace dovra
