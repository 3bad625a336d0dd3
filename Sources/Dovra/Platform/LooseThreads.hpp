#pragma once

#include <functional>
#include <memory>
#include <string>

namespace dovra {

/// Threads for work that may never end, such as reading from a disk that is gone: one for each piece, which
/// no queue and not the end of the process waits for. The caller limits their number. Any thread may call it.
class LooseThreads {
public:
    /// The threads carry the label.
    explicit LooseThreads(std::string label);

    /// Waits a moment for work that ends soon, because it may use what the end of the process destroys.
    ~LooseThreads();
    LooseThreads(const LooseThreads&) = delete;
    LooseThreads& operator=(const LooseThreads&) = delete;

    /// The work must not throw.
    void async(std::function<void()> work);

private:
    struct State;

    const std::shared_ptr<State> state_;  ///< shared with the threads
};

}  // namespace dovra
