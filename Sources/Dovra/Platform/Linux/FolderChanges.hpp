#pragma once

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Base/PathText.hpp"
#include "Platform/ChangeFeed.hpp"

namespace dovra {

/// The reported changes of one folder that wait to be taken. For one thread.
class FolderChanges {
public:
    /// Adds a change of any kind directly in the folder.
    void addWhole() {
        isWhole_ = true;
        files_ = {};
    }

    /// Adds a change of the file with this name, of any kind but a folder. Returns whether one more name is
    /// kept.
    bool addFile(std::string_view name) {
        if (isWhole_ || std::ranges::find(files_, name) != files_.end()) return false;
        files_.emplace_back(name);
        if (files_.size() > maxFiles) addWhole();
        return true;
    }

    /// Adds a folder that was made at the name, or moved to it. Returns whether one more name is kept.
    bool addArrival(std::string_view name) { return arrivals_.emplace(name).second; }

    /// Adds the changes to `changes` under the folder's path. With `isItself` false the path is that of a
    /// folder above, whose whole subtree is added.
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
    /// Listing a folder once costs less than looking up more names than this.
    static constexpr std::size_t maxFiles = 16;

    bool isWhole_ = false;
    std::vector<std::string> files_;
    std::set<std::string> arrivals_;
};

}  // namespace dovra
