#include <chrono>
#include <filesystem>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <ostream>
#include <string>

#include "Services/LiveIndexLife.hpp"

namespace dovra {
namespace {

namespace fs = std::filesystem;

struct LifeScript {
    const char* name;
    const char* steps;

    friend std::ostream& operator<<(std::ostream& out, const LifeScript& script) {
        return out << script.name;
    }
};

const LifeScript lifeScripts[] = {
    // The start: by a scan, or from a cache.
    {"ScansOnceNoChangeIsMissedAndSaves",
     "write a/file; feed opening; begin; answers none; step; flush-fails; write before; feed open; due-now; "
     "step; updates 1; answers whole; tasks saving; saved; same"},
    {"KnowsNamesAtOnceAfterARestartAndTheRestOnceCompared",
     "write kept/a; write gone/c; live; change worth-a-save; step; trust-stamps; end; "
     // No change was worth a save.
     "updates 2; begin; updates 1; step; tasks reading; end; "
     "write kept/a; remove gone; write new/d; feed opening; begin; answers names; same-names; differs; "
     // No event is reported yet, but a flush finds the change.
     "write new/e; flush; same-names; "
     "write new/f; feed open; step; answers names; due-now; catch-up; answers whole; same; no-report; "
     "no-round"},
    {"ReadsWhatCouldNotBeReadBefore",
     "write a/file; live; write a/appeared/file; tell a; with-descriptors 2 step; has a/appeared; "
     "lacks a/appeared/file; trust-stamps; end; begin; same"},
    {"KeepsNoPartOfWhatAStopCutShort",
     "write a; begin; end-in-a-step; no-cache; items 0; "
     // A rebuild removes the cache, which may hold its cause. The former contents stay until it is done.
     "live; rebuild; end-in-a-step; no-cache; items 1"},
    {"ScansARootThatCouldNotBeReadAtFirst",
     "write a; feed refused; forbid .; be-ordinary; begin; step; items 0; coverage not watched; be-oneself; "
     "allow .; feed open; pass 5; pass 0; same; reported not told; reported can be read now; no-report"},
    {"WatchesARootThatIsKnownFromACacheOnceThatIsPossible",
     "write a; live; end; feed refused; begin; coverage not watched; feed open; step; coverage made up; "
     "answers whole; change b; flush; same"},

    // Changes that are reported, lost or unreadable, and a root that goes.
    {"FollowsWithinAFlushOrAStep",
     "live; change a; flush; same; updates 2; change b; late; flush-fails; step; same"},
    {"LooksAtPolledTreesWithEachFlushAndNowAndThen",
     "write polled/a; live; poll polled; write polled/b; flush; same; write polled/c/d; due 2; pass 2; same; "
     // Slow looks are rare: the root is due first.
     "looks-take 1; flush; due 3"},
    {"LooksAgainAtWhatCouldNotBeRead",
     "save-interval 1; write a/file; live; saved; write a/new; tell a; change appeared/file; "
     "with-descriptors 1 step; change worth-a-save; step; pass 1; saved; differs; due 4; pass 4; same; "
     // A flush does not wait for that.
     "change b/new; with-descriptors 1 step; flush; same"},
    {"AnswersNothingAfterChangesWereLostUntilItIsBuiltAnew",
     "write a; live; generations 1; write b; lose; flush-fails; answers none; items 1; no-task; "
     // The new index replaces the old one at once, so that no search sees a part.
     "step; generations 1; answers whole; same"},
    {"BuildsAnewWhatIsMostlyDeleted",
     "spare 2; write a; write f/1; write f/2; live; remove f; tell .; flush; slots 4; "
     "change g/1; flush; remove g; tell .; flush-fails; step; slots 1; same"},
    {"ScansARootThatGoesAndComesBackAgain",
     "write a; live; saved; change worth-a-save; step; due 5; updates 2; rename . /above/other; pass 5; "
     // Without a root nothing can be saved.
     "pass 300; items 0; updates 1; reported is gone; due 5; not-saved; "
     "rename /above/other .; pass 5; pass 0; same; reported is back; feeds 2; "
     "rename . /above/other; write replaced; flush-fails; step; same; reported another folder; no-report"},
    {"LosesNothingWhenAFolderAboveTheRootIsAwayForAMoment",
     "write a/file; live; rename /above /away; write /away/root/a/new; tell a; late; step; "
     "rename /away /above; pass 5; pass 5; same"},

    // The work beside the steps: saves, and rounds of comparison with the disk.
    {"SavesNothingThatIsNotWholeOrWasOvertakenByALoss",
     "live; saved; change a; step; wait 300; lose; flush-fails; no-task; end; not-saved; "
     "live; change b; step; wait 300; hold; run; rebuild; finish; no-cache"},
    {"SavesNoMoreOftenThanTheIntervalAndWhatFailedAgain",
     "save-interval 3; live; saved; change a; step; pass 1; "
     // Further changes do not put the save off.
     "change b; pass 1; not-saved; due 1; "
     "data rename Dovra moved; data write Dovra; pass 1; data remove Dovra; data rename moved Dovra; "
     "not-saved; pass 3; saved"},
    {"LosesNoChangeThatComesDuringASave",
     "save-interval 1; live; saved; change a; step; wait 1; hold; change b; step; wait 1; no-task; "
     "run; finish; saved; tasks saving; saved; change c; step; wait 1; hold; cancel; run; not-saved; end; "
     "saved"},
    {"SavesAtTheEndWhatChangedSinceTheLastSaveAndNothingElse",
     "live; saved; end; not-saved; begin; trust-stamps; end; not-saved; live; change a; step; end; saved"},
    {"FindsWhatNobodyToldAndSaysSo",
     "write a/file; write b/file; write gone/file; live; write a/file; write new/deep/file; remove gone; "
     "flush; differs; pass-a-round; finds 3; same; reported had changed without being told; "
     "write b/file; tell b; pass-a-round; finds 0; no-report"},
    {"EntersWhatMayBeReadByNow",
     "write closed/file; forbid closed; be-ordinary; live; be-oneself; lacks closed/file; allow closed; "
     "pass-a-round; has closed/file"},
    {"CountsForNothingAReadingThatARebuildOvertook",
     // One reading runs at a time, the stamps first.
     "write a/file; write b/file; live; flush; wait 600; hold; run; finish; hold; no-task; "
     "write b/file; run; rebuild; step; write a/file; tasks saving; flush; wait 600; "
     // The new index is still being read.
     "hold; finish; no-task; run; finish; tasks reading; finds 1; same"},
    {"ComparesOnlyAfterItWasOfUse",
     "live; wait 600; no-task; flush; wait 600; tasks reading; wait 600; no-task; pass-a-round; finds 0"},
    {"RestsOnBatteryAndAfterWhatItRead",
     "live; flush; battery on; wait 1200; no-task; battery off; no-task; wait 1200; "
     "hold; looks-take 1; run; finish; looks-take 0; wait 98; no-task; wait 10; hold"},
};

class LiveIndexScript : public test::LiveIndexLife, public testing::WithParamInterface<LifeScript> {};

INSTANTIATE_TEST_SUITE_P(, LiveIndexScript, testing::ValuesIn(lifeScripts),
                         [](const auto& script) { return std::string(script.param.name); });

TEST_P(LiveIndexScript, Is) {
    run(GetParam().steps);
}

class LiveIndexTest : public test::LiveIndexLife {};

TEST_F(LiveIndexTest, WatchesARootAnewThatIsReachedByAnotherWay) {
    run("write a");
    fs::create_directory_symlink(tree_.path("above"), tree_.path("link"));
    options_.root = tree_.path("link/root");
    run("live; trust-stamps; rename /above /renamed; remove /link");
    fs::create_directory_symlink(tree_.path("renamed"), tree_.path("link"));
    run("write /renamed/root/a; flush; feeds 2; same; no-report");
}

TEST_F(LiveIndexTest, SavesNotBecauseOfASave) {
    // The program's own folder lies in the served tree, and is reached by a link.
    const std::string own = tree_.makeFolder("above/root/data/Dovra");
    fs::create_directory_symlink(own, data_.path("Dovra"));
    run("live; saved");
    for (int i = 0; i < 3; ++i)
        run("tell .; tell data/Dovra; tell-file data/Dovra/index.cache.new; pass 600; not-saved");
    // When only the time of a folder changes, the reported path decides.
    const auto touch = [&](const std::string& folder) {
        fs::last_write_time(folder, fs::last_write_time(folder) - std::chrono::hours(1));
    };
    touch(own);
    run("tell data/Dovra; pass 1; pass 300; not-saved");
    const std::string other = tree_.makeFolder("above/root/data/other");
    for (const char* told : {"tell data", "tell-file data/other/file", "tell-tree data/other"}) {
        touch(other);
        run(fmt::format("{}; pass 1; pass 300; saved", told));
    }
}

TEST_F(LiveIndexTest, FindsNothingThatIsToldOrCannotBeTold) {
    // A new folder is reported as a subtree and found in its parent folder, so the subtree has to be applied
    // first.
    run("write a/file; live; flush; wait 1200; folder a/new; tasks-and tell-tree a/new; finds 0; same");
    for (const char* telling :
         {"later tell a", "later tell-file a/file", "later tell-tree .", "poll a", "feed refused"})
        run(fmt::format("poll /nowhere; flush; flush; wait 1200; write a/file; tasks-and {}; finds 0; same",
                        telling));
}

}  // namespace
}  // namespace dovra
