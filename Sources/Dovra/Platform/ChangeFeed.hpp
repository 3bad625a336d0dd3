#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "Platform/ChangeBatch.hpp"

namespace dovra {

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
