#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Index/Crawl.hpp"
#include "Query/ContentDuplicates.hpp"
#include "Query/SearchEngine.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

std::vector<std::string> namesOf(const std::vector<FileRow>& rows) {
    std::vector<std::string> names(rows.size());
    std::ranges::transform(rows, names.begin(), &FileRow::name);
    return names;
}

class ContentDuplicates : public testing::Test {
protected:
    ContentDuplicates() {
        for (const char* name : {"a.txt", "folder/b.txt", "c.log"})
            tree_.write(name, "thirteen byte");
        tree_.write("d.txt", "another bytes");
        for (const char* name : {"large.txt", "folder/large.log"})
            tree_.write(name, std::string(50'000, 'x'));
        tree_.write("empty.txt");
        tree_.write("folder/empty.txt");
        crawl(index_, {tree_.path()}, {});
    }

    std::vector<std::vector<std::string>> setsFor(std::string_view query) {
        std::vector<std::vector<std::string>> sets;
        for (const DuplicateGroup& group : findContentDuplicates(index_, query, &progress_))
            sets.push_back(namesOf(group.rows));
        return sets;
    }

    const test::TemporaryTree tree_;
    FileIndex index_;
    HashProgress progress_;
};

TEST_F(ContentDuplicates, ComeLargestFirst) {
    EXPECT_THAT(setsFor("dupe:content"), ElementsAre(UnorderedElementsAre("large.txt", "large.log"),
                                                     UnorderedElementsAre("a.txt", "b.txt", "c.log")));
    EXPECT_EQ(progress_.filesToHash, 6);
    EXPECT_EQ(progress_.filesDone, 6);
    EXPECT_EQ(progress_.bytesToHash, 4 * 13 + 2 * 50'000);
    EXPECT_EQ(progress_.bytesDone, progress_.bytesToHash);
}

TEST_F(ContentDuplicates, AreSoughtAmongTheMatches) {
    EXPECT_THAT(setsFor("ext:txt"), ElementsAre(UnorderedElementsAre("a.txt", "b.txt")));
    EXPECT_THAT(setsFor("large.txt"), IsEmpty());
    EXPECT_THAT(setsFor("folder: dupe:content"), IsEmpty());
}

TEST_F(ContentDuplicates, AreSetBesideSetInASearch) {
    const SortSpec unused = {.key = SortSpec::Key::name, .ascending = false};
    const SearchResult all = search(index_, "dupe:content", unused, 100);
    EXPECT_EQ(all.total, 5);
    EXPECT_THAT(namesOf(all.rows), testing::Contains(testing::HasSubstr("large")).Times(2));
    EXPECT_THAT(all.rows.at(1).name, testing::HasSubstr("large"));
    const SearchResult cut = search(index_, "dupe:content", unused, 3);
    EXPECT_EQ(cut.total, 5);
    EXPECT_EQ(cut.rows.size(), 3);
    EXPECT_EQ(search(index_, "dupe:content empty:", {}, 100).total, 0);
    // Equal names are not asked for where equal contents are.
    EXPECT_EQ(search(index_, "dupe: dupe:content", {}, 100).total, 5);
}

}  // namespace
}  // namespace dovra
