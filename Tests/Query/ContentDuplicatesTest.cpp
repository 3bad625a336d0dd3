#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Index/Crawl.hpp"
#include "Query/SearchEngine.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

TEST(ContentDuplicates, AreSetBesideSetInASearchTheLargestFirst) {
    const test::TemporaryTree tree;
    for (const char* name : {"a.txt", "folder/b.txt", "c.log"})
        tree.write(name, "thirteen byte");
    tree.write("d.txt", "another bytes");
    for (const char* name : {"large.txt", "folder/large.log"})
        tree.write(name, std::string(50'000, 'x'));
    FileIndex index;
    crawl(index, {tree.path()}, {});
    const auto found = [&](std::string_view query, std::int64_t limit) {
        return search(index, query, {.key = SortSpec::Key::name, .ascending = false}, limit);
    };
    const SearchResult all = found("dupe:content", 100);
    EXPECT_EQ(all.total, 5);
    ASSERT_EQ(all.rows.size(), 5);
    for (const std::size_t i : {0, 1})
        EXPECT_THAT(all.rows[i].name, testing::HasSubstr("large"));
    EXPECT_EQ(found("dupe:content", 3).total, 5);
    EXPECT_EQ(found("dupe:content", 3).rows.size(), 3);
    EXPECT_EQ(found("dupe:content ext:txt", 100).total, 2);
    EXPECT_EQ(found("dupe:content large.txt", 100).total, 0);
    EXPECT_EQ(found("dupe:content empty:", 100).total, 0);
    // Equal names are not asked for where equal contents are.
    EXPECT_EQ(found("dupe: dupe:content", 100).total, 5);
}

}  // namespace
}  // namespace dovra
