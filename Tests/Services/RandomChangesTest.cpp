#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <vector>

#include "Base/PathText.hpp"
#include "Platform/Linux/MountTable.hpp"
#include "Support/FollowedTree.hpp"
#include "Support/Privileges.hpp"
#include "Support/TreeScript.hpp"
#include "Support/TreeStorm.hpp"
#include "Support/WatchMechanisms.hpp"

namespace dovra {
namespace {

namespace fs = std::filesystem;

const test::TreeStorm::Verbs verbs = {"write",  "write",  "folder", "folder", "rename",  "rename",
                                      "rename", "rename", "remove", "link",   "symlink", "forbid",
                                      "forbid", "tmpfs",  "bind",   "move",   "umount",  "detach"};

/// Gives back all rights that were taken. It visits every folder, because folders may have been renamed.
void allowAll(const std::string& root) {
    std::vector<fs::path> folders = {root};
    while (!folders.empty()) {
        const fs::path folder = std::move(folders.back());
        folders.pop_back();
        ::chmod(folder.c_str(), 0755);
        for (const auto& entry : fs::directory_iterator(folder)) {
            if (entry.is_directory() && !entry.is_symlink()) folders.push_back(entry.path());
        }
    }
}

void unmountAll(const std::string& root) {
    const std::vector<Mount> mounts = readMounts();
    for (auto mount = mounts.rbegin(); mount != mounts.rend(); ++mount) {
        if (isAtOrBelow(mount->place, root)) ::umount2(mount->place.c_str(), MNT_DETACH);
    }
}

/// The user who follows the changes: root only for the mechanism that needs it.
std::unique_ptr<test::OrdinaryUser> watcher(WatchMechanism mechanism) {
    return mechanism == WatchMechanism::best ? nullptr : std::make_unique<test::OrdinaryUser>();
}

/// The differences after a flush. A file with several names may be out of date under one of them when it was
/// changed by another. So a tree with links is compared with the disk, and then has no difference.
std::vector<std::string> differences(test::FollowedTree& followed, bool hasLinks) {
    auto found =
        followed.differencesAfterFlush(hasLinks ? test::Compared::namesAndKinds : test::Compared::all);
    if (!found.empty() || !hasLinks) return found;
    followed.compareAll();
    return test::differencesFromFreshScan(followed.index, followed.root);
}

/// The differences, and the lines that led to them.
std::vector<std::string> runRandomly(WatchMechanism mechanism, unsigned seed) {
    test::TreeStorm script({}, seed, verbs);
    std::optional<test::FollowedTree> followed;
    {
        const auto user = watcher(mechanism);
        followed.emplace(mechanism);
    }
    std::vector<std::string> done;
    std::vector<std::string> found;
    bool hasLinks = false;
    for (int i = 0; i < 120 && found.empty(); ++i) {
        const std::string line = script.line();
        if (!test::perform(followed->root, line)) continue;
        done.push_back(line);
        hasLinks = hasLinks || line.starts_with("link");
        const bool compares = script.number(6) == 0;
        if (compares) allowAll(followed->root);
        const auto user = watcher(mechanism);
        if (compares) {
            done.emplace_back("(compared)");
            found = differences(*followed, hasLinks);
        } else if (script.number(2) == 0) {
            done.emplace_back("(followed)");
            followed->follow();
        }
    }
    unmountAll(followed->root);
    allowAll(followed->root);
    if (found.empty()) return {};
    found.insert(found.end(), done.begin(), done.end());
    return found;
}

class RandomChanges : public testing::TestWithParam<WatchMechanism> {};

INSTANTIATE_TEST_SUITE_P(, RandomChanges, test::everyMechanism, test::mechanismName);

/// The variable DOVRA_SEEDS sets the number of seeds, DOVRA_SEED chooses a single one.
TEST_P(RandomChanges, LeaveNoDifference) {
    const auto setting = [](const char* name, unsigned otherwise) {
        const char* value = std::getenv(name);
        return value == nullptr ? otherwise : static_cast<unsigned>(std::atoi(value));
    };
    (void)test::leaveMounts();
    const unsigned first = setting("DOVRA_SEED", 1);
    const unsigned count = setting("DOVRA_SEEDS", 8);
    for (unsigned seed = first; seed < first + count; ++seed) {
        const auto found = runRandomly(GetParam(), seed);
        ASSERT_TRUE(found.empty()) << "seed " << seed << '\n' << fmt::format("{}", fmt::join(found, "\n"));
    }
}

}  // namespace
}  // namespace dovra
