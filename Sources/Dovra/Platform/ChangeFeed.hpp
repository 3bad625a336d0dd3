#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "Platform/ChangeBatch.hpp"

namespace dovra {

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
