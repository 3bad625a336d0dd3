#pragma once

#include <future>
#include <string>
#include <thread>

#include "Services/IndexService.hpp"

namespace dovra {

/// An index that is scanned once, in the background, and then stays as it is: changes on the disk are not
/// seen.
class ScannedIndex final : public IndexService {
public:
    /// `root` is an absolute path without a slash at its end.
    ScannedIndex(std::string root, bool usesTrigram);
    ~ScannedIndex() override;
    ScannedIndex(const ScannedIndex&) = delete;
    ScannedIndex& operator=(const ScannedIndex&) = delete;

    void start(std::function<void()> onReady) override;
    bool waitUntilReady(std::chrono::milliseconds deadline) override;
    bool flush(std::chrono::milliseconds) override { return true; }
    const FileIndex& index() const override { return index_; }
    const std::string& root() const override { return root_; }

private:
    void scan(const std::stop_token& stop, const std::function<void()>& onReady);

    std::string root_;
    FileIndex index_;
    std::promise<void> promise_;
    std::future<void> isReady_ = promise_.get_future();
    std::jthread scanner_;  ///< last: it ends before what it uses
};

}  // namespace dovra
