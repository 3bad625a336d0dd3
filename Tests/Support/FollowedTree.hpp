#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Index/ChangeApplication.hpp"
#include "Platform/ChangeFeed.hpp"
#include "Platform/EventSource.hpp"
#include "Support/FreshScan.hpp"
#include "Support/InMemory.hpp"
#include "Support/TemporaryTree.hpp"
#include "Support/TreeScript.hpp"

namespace dovra::test {

/// A tree on the disk and an index of it that follows the system's events. It has no thread: events are taken
/// only when a test asks, so the test decides which events come together. With a root in the options, only
/// that folder of the tree is watched.
class FollowedTree {
public:
    explicit FollowedTree(WatchMechanism mechanism, WatchOptions options = {})
        : root(options.root.empty() ? tree.path() : tree.makeFolder(options.root)) {
        options.root = root;
        options.mechanism = mechanism;
        options.report = [this](const std::string& message) { reports.push_back(message); };
        source = openEventSource(options);
        rescan();
    }

    /// Takes the reported changes and applies them.
    ChangeBatch follow() {
        ChangeBatch batch = *source->take({});
        if (batch.mustRescan) rescan();
        ChangeSet changes;
        changes.add(batch);
        changes.add(std::exchange(unread_, {}));
        for (std::string& path : source->polledTrees())
            changes.addSubtree(std::move(path));
        unread_ = applyChanges(index, changes.take()).unread;
        return batch;
    }

    /// Compares the whole index with the disk, as rounds of comparison do.
    void compareAll() { applyChanges(index, {.subtrees = {root}}); }

    void rescan() {
        ++scans;
        index.reset();
        crawl(index, {root}, {});
    }

    std::vector<std::string> differencesAfterFlush(Compared compared = Compared::all) {
        follow();
        return differencesFromFreshScan(index, root, compared);
    }

    /// Performs a line in the watched folder (see `perform`). Succeeds if the index then equals a fresh scan.
    testing::AssertionResult follows(const std::string& line) {
        if (!perform(root, line)) return testing::AssertionFailure() << "cannot be done: " << line;
        const std::vector<std::string> found = differencesAfterFlush();
        if (found.empty()) return testing::AssertionSuccess();
        return testing::AssertionFailure() << line << '\n' << fmt::format("{}", fmt::join(found, "\n"));
    }

    std::string path(std::string_view name) const { return tree.path(name); }

    const InMemory inMemory;
    const TemporaryTree tree;
    const std::string root;
    FileIndex index;
    std::unique_ptr<EventSource> source;
    std::vector<std::string> reports;
    int scans = 0;

private:
    ChangeBatch unread_;
};

}  // namespace dovra::test
