#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace dovra {

/// What may have changed on the disk: hints where to look again, in no order, and not what to find there.
/// Absolute paths, raw bytes, each once.
struct ChangeBatch {
    /// Something changed at this path, or directly in the folder that is there.
    std::vector<std::string> paths = {};
    /// What is at this path, and is no folder, may have come, gone or changed. Nothing else in the folder
    /// that holds it is meant.
    std::vector<std::string> files = {};
    /// The folder at this path may hold anything else than before, at any depth: it was made, moved there or
    /// mounted there.
    std::vector<std::string> subtrees = {};
    /// Changes were lost; only a scan can tell what there is now.
    bool mustRescan = false;

    bool empty() const { return paths.empty() && files.empty() && subtrees.empty() && !mustRescan; }
};

/// Gathers a batch: each path once, and not more of them than memory should hold. For one thread.
class ChangeSet {
public:
    /// Beyond this, looking at each place costs more than a scan.
    static constexpr std::size_t maxBytes = std::size_t{64} << 20;

    void addPath(std::string path) { add(paths_, std::move(path)); }
    void addFile(std::string path) { add(files_, std::move(path)); }
    void addSubtree(std::string path) { add(subtrees_, std::move(path)); }

    void add(ChangeBatch batch) {
        if (batch.mustRescan) loseTrack();
        for (std::string& path : batch.paths)
            addPath(std::move(path));
        for (std::string& path : batch.files)
            addFile(std::move(path));
        for (std::string& path : batch.subtrees)
            addSubtree(std::move(path));
    }

    /// Changes were lost, so what else is known does not matter.
    void loseTrack() {
        *this = ChangeSet();
        mustRescan_ = true;
    }

    bool empty() const { return paths_.empty() && files_.empty() && subtrees_.empty() && !mustRescan_; }

    /// What was gathered; the set is empty afterwards.
    ChangeBatch take() {
        ChangeBatch batch{.paths = {paths_.begin(), paths_.end()},
                          .files = {files_.begin(), files_.end()},
                          .subtrees = {subtrees_.begin(), subtrees_.end()},
                          .mustRescan = mustRescan_};
        *this = ChangeSet();
        return batch;
    }

private:
    void add(std::unordered_set<std::string>& to, std::string path) {
        if (mustRescan_) return;
        const auto [added, isNew] = to.insert(std::move(path));
        if (isNew) bytes_ += added->size();
        if (bytes_ > maxBytes) loseTrack();
    }

    std::unordered_set<std::string> paths_;
    std::unordered_set<std::string> files_;
    std::unordered_set<std::string> subtrees_;
    std::size_t bytes_ = 0;
    bool mustRescan_ = false;
};

/// Tells what changed below one folder, when it is asked. For one thread.
///
/// Promise: a change that was made before `take` was called is in the batch that it returns, or in one that
/// was taken before. A place is told as it is called when the batch is taken. A folder that is renamed
/// between that and the moment when somebody looks is told again, with all below it.
class ChangeFeed {
public:
    enum class State {
        opening,  ///< what changes now may be missed
        open,     ///< from now on no change is missed
        refused,  ///< there is nothing to watch, or no way to
    };

    virtual ~ChangeFeed() = default;

    virtual State state() const = 0;

    /// What was told since the last call. Absent when that could not be found out within the time.
    virtual std::optional<ChangeBatch> take(std::chrono::milliseconds patience) = 0;

    /// Trees in which changes are not told, by their top folders: somebody has to look again and again.
    virtual std::vector<std::string> polledTrees() const = 0;

    /// How the folder is watched and what is not, in a few words for a status line.
    virtual std::string coverage() const = 0;
};

}  // namespace dovra
