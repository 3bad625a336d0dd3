#pragma once

#include <functional>
#include <thread>
#include <vector>

namespace dovra {

/// During its life, a signal that asks the process to end (hang-up, interrupt, termination) first runs
/// `finish` on a thread of this object; then the process ends by that signal. A second signal meanwhile ends
/// the process at once. A signal that the process ignores stays ignored. Made before the process has other
/// threads, which inherit the blocked signals. One at a time.
class TerminationHandler {
public:
    explicit TerminationHandler(std::function<void()> finish);
    ~TerminationHandler();
    TerminationHandler(const TerminationHandler&) = delete;
    TerminationHandler& operator=(const TerminationHandler&) = delete;

private:
    void waitForSignal();

    std::function<void()> finish_;
    const std::vector<int> signals_;
    std::thread thread_;
};

}  // namespace dovra
