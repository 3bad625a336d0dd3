#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Base/JoinPath.hpp"
#include "Index/Crawl.hpp"
#include "Query/ContentDuplicates.hpp"
#include "Query/SearchEngine.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

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
        for (const DuplicateGroup& group : findContentDuplicates(index_, query))
            sets.push_back(namesOf(group.rows));
        return sets;
    }

    static std::vector<std::string> namesOf(const std::vector<FileRow>& rows) {
        std::vector<std::string> names(rows.size());
        std::ranges::transform(rows, names.begin(), &FileRow::name);
        return names;
    }

    const test::TemporaryTree tree_;
    FileIndex index_;
};

TEST_F(ContentDuplicates, ComeLargestFirst) {
    for (const char* query : {"", "dupe:content"}) {
        EXPECT_THAT(setsFor(query), ElementsAre(UnorderedElementsAre("large.txt", "large.log"),
                                                UnorderedElementsAre("a.txt", "b.txt", "c.log")));
    }
}

TEST_F(ContentDuplicates, AreSoughtAmongTheMatches) {
    EXPECT_THAT(setsFor("ext:txt"), ElementsAre(UnorderedElementsAre("a.txt", "b.txt")));
    EXPECT_THAT(setsFor("size:>1kb"), ElementsAre(UnorderedElementsAre("large.txt", "large.log")));
    EXPECT_THAT(setsFor("large.txt"), IsEmpty());
    EXPECT_THAT(setsFor("folder: dupe:content"), IsEmpty());
}

TEST_F(ContentDuplicates, HaveWholeRows) {
    const std::vector<DuplicateGroup> groups = findContentDuplicates(index_, "large");
    ASSERT_EQ(groups.size(), 1);
    EXPECT_EQ(groups[0].sizeBytes, 50'000);
    for (const FileRow& row : groups[0].rows) {
        EXPECT_EQ(row.size, 50'000);
        EXPECT_FALSE(row.isDir);
        EXPECT_EQ(index_.fullPath(row.id), joinPath(row.path, row.name));
    }
}

TEST_F(ContentDuplicates, AreSetBesideSetInASearch) {
    const auto found = [&](std::int64_t limit) {
        return search(index_, "dupe:content", {.key = SortSpec::Key::name, .ascending = false}, limit);
    };
    const SearchResult all = found(100);
    EXPECT_EQ(all.total, 5);
    EXPECT_THAT(namesOf(all.rows),
                ElementsAre(testing::HasSubstr("large"), testing::HasSubstr("large"), testing::HasSubstr("."),
                            testing::HasSubstr("."), testing::HasSubstr(".")));
    EXPECT_TRUE(std::ranges::is_sorted(std::span(all.rows).subspan(2), {}, &FileRow::id));
    const SearchResult cut = found(3);
    EXPECT_EQ(cut.total, 5);
    EXPECT_EQ(namesOf(cut.rows).size(), 3);
    EXPECT_EQ(search(index_, "dupe:content empty:", {}, 100).total, 0);
    // Equal names are not asked for where equal contents are.
    EXPECT_EQ(search(index_, "dupe: dupe:content", {}, 100).total, 5);
}

TEST_F(ContentDuplicates, ProgressEndsWhenAllIsDone) {
    HashProgress progress;
    findContentDuplicates(index_, "", &progress);
    EXPECT_EQ(progress.filesToHash, 6);
    EXPECT_EQ(progress.filesDone, 6);
    EXPECT_EQ(progress.bytesToHash, 4 * 13 + 2 * 50'000);
    EXPECT_EQ(progress.bytesDone, progress.bytesToHash);
}

}  // namespace
}  // namespace dovra
