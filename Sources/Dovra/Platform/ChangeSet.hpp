#pragma once

#include <string>
#include <unordered_set>
#include <utility>

#include "Platform/ChangeBatch.hpp"

namespace dovra {

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

}  // namespace dovra
