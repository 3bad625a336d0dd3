#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <stop_token>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "Index/ChangeApplication.hpp"
#include "Index/DiskComparison.hpp"
#include "Support/DeepFile.hpp"
#include "Support/FreshScan.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/ScriptedTest.hpp"
#include "Support/Stamps.hpp"
#include "Support/TreeStorm.hpp"

namespace dovra {
namespace {

using test::differencesFromFreshScan;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;

/// An index to which scripts apply reported changes.
class ChangeApplication : public test::ScriptedTest {
protected:
    ChangeApplication() {
        words_.insert({
            {"scan",
             [this](Rest top) {
                 top_ = placeOf(top);
                 index_.reset();
                 crawl(index_, {top_}, {});
             }},
            {"trust-stamps", [this](Rest) { test::trustStamps(index_); }},
            {"paths", [this](Rest told) { batch_.paths = placesOf(told); }},
            {"files", [this](Rest told) { batch_.files = placesOf(told); }},
            {"trees", [this](Rest told) { batch_.subtrees = placesOf(told); }},
            {"unread", [this](Rest) { batch_ = std::exchange(applied_.unread, {}); }},
            {"replay", [this](Rest) { batch_ = changedFolders(index_); }},
            {"apply", [this](Rest) { apply(); }},
            {"apply-stopped",
             [this](Rest) {
                 std::stop_source stop;
                 stop.request_stop();
                 apply({.stop = stop.get_token()});
             }},
            {"same", [this](Rest) { EXPECT_THAT(differencesFromFreshScan(index_, top_), IsEmpty()); }},
            {"lacks-only",
             [this](Rest name) {
                 EXPECT_THAT(differencesFromFreshScan(index_, top_), ElementsAre(HasSubstr(name)));
             }},
            {"has", [this](Rest path) { EXPECT_TRUE(index_.fullPath(idOf(path))); }},
            {"lacks", [this](Rest path) { EXPECT_FALSE(index_.fullPath(idOf(path))); }},
            {"id-is", [this](Rest path) { EXPECT_EQ(idOf(path), id_); }},
            {"id-of", [this](Rest path) { id_ = idOf(path); }},
            {"changed",
             [this](Rest paths) {
                 EXPECT_THAT(applied_.changed, UnorderedElementsAreArray(placesOf(paths)));
             }},
            {"told", [this](Rest paths) { EXPECT_EQ(batch_.paths, placesOf(paths)); }},
            {"unread-trees", [this](Rest paths) { EXPECT_EQ(applied_.unread.subtrees, placesOf(paths)); }},
            {"nothing-unread", [this](Rest) { EXPECT_TRUE(applied_.unread.empty()); }},
            {"untouched", [this](Rest) { EXPECT_EQ(index_.generation(), generation_); }},
        });
    }

    EntryId idOf(Rest path) const { return test::idOf(index_, placeOf(path)); }

    void apply(const CrawlOptions& options = {}) {
        generation_ = index_.generation();
        const auto before = test::contentsOf(index_);
        applied_ = applyChanges(index_, std::exchange(batch_, {}), options);
        EXPECT_TRUE(before == test::contentsOf(index_) || index_.generation() > generation_);
    }

    FileIndex index_;
    std::string top_;
    ChangeBatch batch_;
    AppliedChanges applied_;
    std::uint64_t generation_ = 0;
    EntryId id_ = -1;
};

const char* const changeScripts[] = {
    // An unchanged entry keeps its identifier. The former identifier of "turned" was the folder's.
    "write kept/file; write renamed/deep/file; write turned/below; scan .; id-of turned; "
    "write kept/file; rename renamed name; remove turned; write turned; lacks nothing; "
    "id-of kept/file; paths kept/file renamed name turned kept; apply; changed . kept name; id-is kept/file; "
    "lacks renamed/deep/file; same; paths . kept; files kept/file; trees name; apply; changed; untouched",
    // After a stop, a replay applies the rest.
    "write folder/file; scan .; write new/a/b; write folder/other; paths . folder; apply-stopped; untouched; "
    "nothing-unread; replay; apply; nothing-unread; same",
    // The time of modification is put back, as an unpacked archive does.
    "write same/file; write changed/file; touch changed x; scan .; trust-stamps; replay; "
    "told; "
    "write changed/new; touch changed x; replay; told changed",
    // A missing root is left for the caller to drop.
    "write served/file; scan served; rename served elsewhere; paths served/file; apply; untouched; "
    "unread-trees served; write elsewhere/deep/file; rename elsewhere served; unread; apply; "
    "nothing-unread; same",
    // Places outside of the scan's scope.
    "write served/file; symlink served/link; scan served; write served-not/file; "
    "paths served-not/file served/link/more /; trees served-not; apply; untouched",
    // An unreadable folder keeps its entries, and is read once that is allowed.
    "folder closed; forbid closed; be-ordinary; scan .; trees .; apply; nothing-unread; be-oneself; "
    "allow closed; paths closed; apply; same; "
    "forbid closed; be-ordinary; trees closed; apply; untouched; be-oneself; allow closed; "
    "write closed/below/1; unread; apply; same; "
    "forbid closed; be-ordinary; trees .; apply; untouched; be-oneself; allow closed; "
    "write closed/below/2; unread; apply; same; "
    "forbid closed; be-ordinary; paths closed/below; apply; untouched; be-oneself; allow closed; "
    "write closed/below/3; unread; apply; nothing-unread; same",
};

TEST_F(ChangeApplication, FollowsScripts) {
    for (const char* script : changeScripts) {
        run("remove .; folder .; allow .");
        run(script);
    }
}

TEST_F(ChangeApplication, EqualsAFreshScanAfterAnyStormWhoseHintsItGot) {
    for (unsigned seed = 1; seed <= 12; ++seed) {
        const std::string top = fmt::format("storm{}", seed);
        // Single files of a large folder are read one by one.
        for (unsigned i = 0; i < 300 * (seed % 2); ++i)
            tree_.write(fmt::format("{}/file{}", top, i));
        test::TreeStorm storm(tree_.makeFolder(top), seed);
        for (int i = 0; i < 60; ++i)
            storm.step();
        run("scan " + top);
        for (int round = 0; round < 25 && !HasFailure(); ++round) {
            for (std::size_t steps = storm.number(20); steps > 0; --steps) {
                ChangeBatch hints = storm.step();
                std::ranges::move(hints.paths, std::back_inserter(batch_.paths));
                std::ranges::move(hints.files, std::back_inserter(batch_.files));
                std::ranges::move(hints.subtrees, std::back_inserter(batch_.subtrees));
            }
            run("apply; nothing-unread; same");
        }
    }
}

TEST_F(ChangeApplication, ListsOfFoldersThatChangeForEverDoNotGrow) {
    run("write log.0; scan .");
    for (int i = 0; i < 5; ++i)
        run(fmt::format("rename log.{} log.{}; paths .; apply", i, i + 1));
    const ReadGuard guard(index_.rwlock);
    EXPECT_EQ(index_.entriesByDirLocked().ids(0).size(), 1U);
}

TEST_F(ChangeApplication, LooksAtSingleFilesOfALargeFolder) {
    for (int i = 0; i < 300; ++i)
        tree_.write("large/file" + std::to_string(i));
    run("scan .; write large/file1; write large/untold; files large/file1 large/never; apply; "
        "lacks-only untold; files large/untold; apply; same");
    // The folder may be listed, but not entered.
    ASSERT_EQ(::chmod(tree_.path("large").c_str(), 0444), 0);
    run("be-ordinary; files large/file7; apply; be-oneself; allow large; has large/file7; "
        // The parent of a missing folder is listed.
        "remove large; files large/file7; apply; same");
}

TEST_F(ChangeApplication, HandsInAgainWhatCouldNotBeOpened) {
    // The first run has descriptors left: a sanitizer needs some when it first meets an object.
    run("write folder/file; scan .; apply");
    for (int descriptors = 0; descriptors < 5; ++descriptors) {
        run(
            fmt::format("write new{0}/file; write folder/new{0}/deeper/file; paths . folder; "
                        "with-descriptors {0} apply; unread; apply; nothing-unread; same",
                        descriptors));
    }
}

TEST_F(ChangeApplication, ForgetsWhatIsCoveredByAFileSystemOfTheKernel) {
    if (!test::leaveMounts()) GTEST_SKIP() << "this user may not mount";
    for (const char* told : {"paths above/covered", "trees above"}) {
        run(
            fmt::format("write above/covered/file; scan .; proc above/covered; {}; apply; "
                        "changed above/covered; lacks above/covered/file; paths above/covered/sys; "
                        "trees above/covered/self; apply; untouched; "
                        // The folders of a kernel's file system are entered when the scan begins in it.
                        "scan above/covered/sys/kernel/random; trees above/covered/sys/kernel/random; apply; "
                        "changed; has above/covered/sys/kernel/random/uuid; umount above/covered",
                        told));
    }
}

TEST_F(ChangeApplication, GoesToPathsOfAnyLength) {
    const test::DeepFile deep(tree_.path(), "before");
    run("scan .; trust-stamps");
    const EntryId file = test::idOf(index_, deep.path);
    // A path that is too deep is reported by its last folder that is not.
    const ChangeBatch replayed = changedFolders(index_);
    ASSERT_THAT(replayed.subtrees, testing::SizeIs(1));
    EXPECT_TRUE(deep.path.starts_with(replayed.subtrees[0]) && deep.path[replayed.subtrees[0].size()] == '/');
    EXPECT_NEAR(static_cast<double>(replayed.subtrees[0].size()), 3990, 105);
    for (const ChangeBatch& changes : {ChangeBatch{.files = {deep.path}}, {.subtrees = {top_}}, replayed}) {
        ASSERT_GT(::write(deep.descriptor, "more", 4), 0);
        batch_ = changes;
        run("apply; nothing-unread; same");
        EXPECT_THAT(applied_.changed,
                    replayed.subtrees.size() == 1 ? testing::SizeIs(1) : testing::SizeIs(0));
        EXPECT_EQ(test::idOf(index_, deep.path), file);
    }
}

}  // namespace
}  // namespace dovra
