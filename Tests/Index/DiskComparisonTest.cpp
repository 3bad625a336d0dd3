#include <algorithm>
#include <chrono>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <stop_token>
#include <string>
#include <vector>

#include "Index/ChangeApplication.hpp"
#include "Index/Crawl.hpp"
#include "Index/DiskComparison.hpp"
#include "Support/DeepFile.hpp"
#include "Support/Stamps.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

using Stage = DiskComparison::Stage;

class DiskComparisonRound : public testing::Test {
protected:
    void scan() {
        crawl(index, {tree.path()}, {});
        test::trustStamps(index);
    }

    /// The places that one round finds, and the number of its pieces.
    std::set<std::string> round(Stage first, std::chrono::seconds budget = 60s) {
        DiskComparison comparison(first);
        std::set<std::string> found;
        for (auto piece = comparison.next(index); !piece.folders.empty(); piece = comparison.next(index)) {
            const auto batch = comparison.compare(index, DiskComparison::read(std::move(piece), budget));
            found.insert(batch.paths.begin(), batch.paths.end());
            for (const std::string& top : batch.subtrees)
                EXPECT_TRUE(found.insert(top).second) << "told once in a round";
            ++pieces;
        }
        return found;
    }

    const test::TemporaryTree tree;
    FileIndex index;
    int pieces = 0;
};

TEST_F(DiskComparisonRound, FindsWhateverNoEventTold) {
    for (const char* file : {"same/file", "written/file", "names/old", "gone/file"})
        tree.write(file);
    scan();
    EXPECT_THAT(round(Stage::stamps), IsEmpty());
    EXPECT_EQ(pieces, 2);
    tree.write("written/file", "in place, so that no stamp changes");
    EXPECT_THAT(round(Stage::stamps), ElementsAre(tree.path("written")));
    std::filesystem::rename(tree.path("names/old"), tree.path("names/new"));
    std::filesystem::remove_all(tree.path("gone"));
    std::set<std::string> all = {tree.path(), tree.path("names"), tree.path("written")};
    EXPECT_EQ(round(Stage::entries), all);
    all.insert(tree.path("gone"));
    EXPECT_EQ(round(Stage::stamps, 0s), all) << "however little time a piece has";
    EXPECT_GT(pieces, 10);
}

TEST_F(DiskComparisonRound, TakesUpAgainWhatAReadingDidNotComeTo) {
    tree.write("file");
    scan();
    tree.write("file", "changed");
    DiskComparison comparison(Stage::entries);
    std::stop_source stop;
    stop.request_stop();
    const auto unread = DiskComparison::read(comparison.next(index), 60s, stop.get_token());
    EXPECT_TRUE(comparison.compare(index, unread).empty());
    const auto reading = DiskComparison::read(comparison.next(index), 60s);
    EXPECT_THAT(reading.piece.folders, testing::SizeIs(1));
    {
        const WriteGuard guard(index.rwlock);
        index.forgetContentsLocked(0);
    }
    EXPECT_TRUE(comparison.compare(index, reading).empty()) << "what was forgotten meanwhile";
    EXPECT_TRUE(comparison.next(index).folders.empty());
}

TEST_F(DiskComparisonRound, KnowsThePathsOfFoldersThatCameLater) {
    tree.write("a/file");
    tree.write("b/file");
    scan();
    const std::vector<std::string> later = {tree.makeFolder("a/n"), tree.makeFolder("b/n")};
    applyChanges(index, {.paths = {tree.path("a"), tree.path("b")}});
    test::trustStamps(index);
    EXPECT_THAT(round(Stage::stamps), IsEmpty());
    tree.write("a/n/new");
    tree.write("b/n/new");
    // When a second has passed meanwhile, the times of the new folders have changed, too.
    EXPECT_THAT(round(Stage::stamps), testing::IsSupersetOf(later));
}

TEST_F(DiskComparisonRound, TellsWhatIsTooDeepAsASubtree) {
    const test::DeepFile deep(tree.path(), "");
    scan();
    const auto found = round(Stage::stamps);
    ASSERT_THAT(found, testing::SizeIs(1));
    EXPECT_TRUE(deep.path.starts_with(*found.begin()));
}

}  // namespace
}  // namespace dovra
