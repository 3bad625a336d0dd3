#pragma once

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Base/PathText.hpp"
#include "Platform/ChangeFeed.hpp"

namespace dovra {

/// What was told of one folder and waits to be taken. For one thread.
class FolderChanges {
public:
    /// Something changed directly in the folder.
    void addWhole() {
        isWhole_ = true;
        files_ = {};
    }

    /// Something changed that is called so and is no folder. Returns whether that is one name more to keep.
    bool addFile(std::string_view name) {
        if (isWhole_ || std::ranges::find(files_, name) != files_.end()) return false;
        files_.emplace_back(name);
        if (files_.size() > maxFiles) addWhole();
        return true;
    }

    /// A folder was made at the name, or moved to it. Returns whether that is one name more to keep.
    bool addArrival(std::string_view name) { return arrivals_.emplace(name).second; }

    /// Tells it of the folder, which has the path. Of one that only lies somewhere below the path, all below
    /// the path is told.
    void tell(const std::string& path, bool isItself, ChangeSet& changes) const {
        if (!isItself) {
            changes.addSubtree(path);
            return;
        }
        if (isWhole_) changes.addPath(path);
        for (const std::string& name : files_)
            changes.addFile(joinPath(path, name));
        for (const std::string& name : arrivals_)
            changes.addSubtree(joinPath(path, name));
    }

    /// Bytes of all names.
    std::size_t bytes() const {
        std::size_t sum = 0;
        for (const std::string& name : files_)
            sum += name.size();
        for (const std::string& name : arrivals_)
            sum += name.size();
        return sum;
    }

private:
    /// To list a folder once costs less than to ask for more names than this.
    static constexpr std::size_t maxFiles = 16;

    bool isWhole_ = false;
    std::vector<std::string> files_;
    std::set<std::string> arrivals_;
};

}  // namespace dovra
