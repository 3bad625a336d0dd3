#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace dovra {

/// Places on the disk that may have changed. They are hints where to look, in no order, and do not say what
/// is there. Absolute paths, raw bytes, each once.
struct ChangeBatch {
    /// A change at this path, or directly in the folder at this path.
    std::vector<std::string> paths = {};
    /// A file at this path, of any kind but a folder, came, went or changed. Nothing else in its folder did.
    std::vector<std::string> files = {};
    /// A folder was made at, moved to or mounted on this path. Anything below it may differ, at any depth.
    std::vector<std::string> subtrees = {};
    /// Changes were lost; only a scan shows the present state.
    bool mustRescan = false;

    bool empty() const { return paths.empty() && files.empty() && subtrees.empty() && !mustRescan; }
};

/// Gathers a batch, each path once, in bounded memory. For one thread.
class ChangeSet {
public:
    /// Beyond this size a scan costs less than listing each place.
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

    /// Notes that changes were lost. The known places no longer matter and are dropped.
    void loseTrack() {
        *this = ChangeSet();
        mustRescan_ = true;
    }

    bool empty() const { return paths_.empty() && files_.empty() && subtrees_.empty() && !mustRescan_; }

    /// The gathered batch; the set is empty afterwards.
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

/// Reports the changes below one folder, on request. For one thread.
///
/// Promise: a change made before a call of `take` is in the batch that it returns, or in an earlier one. A
/// place is reported by its path at the time of the call. A folder that is renamed later, before the caller
/// looks at it, is reported again, with all below it.
class ChangeFeed {
public:
    enum class State {
        opening,  ///< changes may still be missed
        open,     ///< no change is missed from now on
        refused,  ///< there is no folder to watch, or no way to watch it
    };

    virtual ~ChangeFeed() = default;

    virtual State state() const = 0;

    /// The changes since the last call. Absent when they could not be gathered within the time.
    virtual std::optional<ChangeBatch> take(std::chrono::milliseconds patience) = 0;

    /// Trees without events, by their top folders: the caller has to list them again and again.
    virtual std::vector<std::string> polledTrees() const = 0;

    /// The mechanism of watching and its gaps, in a few words for a status line.
    virtual std::string coverage() const = 0;
};

}  // namespace dovra
