#include <atomic>
#include <chrono>
#include <filesystem>
#include <fmt/format.h>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <semaphore>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/Process.hpp"
#include "Services/AppServices.hpp"
#include "Support/FileFacts.hpp"
#include "Support/FreshScan.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/OwnData.hpp"
#include "Support/TemporaryTree.hpp"
#include "Support/WaitUntil.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

/// A served tree, with a folder of its own for the program's files.
class AppServicesTest : public testing::Test {
protected:
    void TearDown() override {
        // Running work would call back into the test.
        for (const auto& made : made_) {
            if (const auto services = made.lock()) services->close();
        }
    }

    std::shared_ptr<AppServices> make(AppServices::Options options = {}) {
        options.root = root_;
        auto services = AppServices::make(std::move(options));
        made_.push_back(services);
        return services;
    }

    std::shared_ptr<AppServices> started(AppServices::Options options = {}) {
        auto services = make(std::move(options));
        services->start();
        EXPECT_TRUE(services->waitUntilReady(1min));
        return services;
    }

    void expectNoDifference(AppServices& services) const {
        EXPECT_TRUE(services.flush(1min));
        EXPECT_THAT(test::differencesFromFreshScan(services.index(), root_), IsEmpty());
    }

    const test::OwnData data_;
    const test::TemporaryTree tree_;
    const std::string root_ = tree_.makeFolder("root");
    const IndexCache cache_ = IndexCache(cacheFileName(root_));
    const IndexImageSubject subject_{.volumeDev = folderStamp(root_).device, .root = root_};

private:
    std::vector<std::weak_ptr<AppServices>> made_;
};

TEST_F(AppServicesTest, ScansFollowsSavesAndCallsBackOnTheMainQueue) {
    tree_.write("root/a/file");
    DispatchQueue mainQueue("main", QualityOfService::userInteractive);
    AppServices::Options options;
    options.postToMain = [&](DispatchQueue::Work work) { mainQueue.async(std::move(work)); };
    const auto services = make(std::move(options));
    std::atomic<int> elsewhere = 0;
    const auto countIn = [&](std::atomic<int>& calls) {
        ++(currentThreadName() == "main" ? calls : elsewhere);
    };
    std::atomic<int> progress = 0;
    std::atomic<int> updates = 0;
    std::atomic<int> readies = 0;
    services->onProgress = [&](std::int64_t, bool) { countIn(progress); };
    services->onIndexUpdated = [&] { countIn(updates); };
    services->start([&] { ++readies; });
    ASSERT_TRUE(services->waitUntilReady(1min));
    EXPECT_TRUE(test::waitUntil([&] { return fs::exists(data_.cachePath(root_)); }));
    tree_.write("root/b/c/new");
    fs::remove(root_ + "/a/file");
    expectNoDifference(*services);
    services->rebuild();
    expectNoDifference(*services);
    EXPECT_THAT(services->status().coverage, testing::Not(IsEmpty()));
    // The change arrives without a request for it.
    tree_.write("root/b/c/later");
    EXPECT_TRUE(test::waitUntil([&] { return test::idOf(services->index(), root_ + "/b/c/later") >= 0; }));
    services->frecency().recordOpen("/opened");
    services->close();
    mainQueue.sync();
    EXPECT_GT(progress, 0);
    EXPECT_GT(updates, 2);
    EXPECT_EQ(readies, 1);
    EXPECT_EQ(elsewhere, 0);
    EXPECT_THAT(services->index().frecencyLocked()->boosts(), testing::SizeIs(1));
    EXPECT_GT(FrecencyStore(FrecencyStore::defaultURL()).boost("/opened"), 0);
}

TEST_F(AppServicesTest, SavesWhatItKnowsWhenItEndsInTheMiddleOfTheComparison) {
    for (int i = 0; i < 1000; ++i)
        tree_.makeFolder(fmt::format("root/{}", i));
    started()->close();
    for (int round = 0; round < 10; ++round) {
        const auto services = started();
        tree_.write(fmt::format("root/{}/file", round));
        expectNoDifference(*services);
        services->close();
        FileIndex saved;
        ASSERT_TRUE(cache_.load(saved, subject_));
        ASSERT_THAT(test::differencesFromFreshScan(saved, root_), IsEmpty()) << "round " << round;
    }
}

TEST_F(AppServicesTest, RebuildsAndTogglesTheTrigramIndex) {
    tree_.write("root/some name");
    const auto services = started({.usesTrigram = true});
    for (const bool isUsed : {true, false, true}) {
        expectNoDifference(*services);
        const ReadGuard guard(services->index().rwlock);
        EXPECT_EQ(services->index().trigramLocked() != nullptr, isUsed);
        EXPECT_EQ(services->toggleTrigram(), !isUsed);
    }
    // At once, while the first scan is still to come.
    const auto early = make();
    early->start();
    EXPECT_TRUE(early->toggleTrigram());
    ASSERT_TRUE(early->waitUntilReady(1min));
    EXPECT_TRUE(early->index().hasTrigramIndex());
}

TEST_F(AppServicesTest, IsNotReadyFromTheCallForARebuildToItsEnd) {
    tree_.write("root/a");
    // The build queue calls back, and waits here for its release.
    std::counting_semaphore<> hasCome(0);
    std::counting_semaphore<> goesOn(0);
    std::atomic<bool> isHeld = false;
    AppServices::Options options;
    options.postToMain = [&](const DispatchQueue::Work& work) {
        work();
        if (!isHeld) return;
        hasCome.release();
        goesOn.acquire();
    };
    const auto services = started(std::move(options));
    isHeld = true;
    tree_.write("root/b");
    ASSERT_TRUE(hasCome.try_acquire_for(10s));
    EXPECT_TRUE(services->waitUntilReady(0s));
    EXPECT_FALSE(services->flush(1ms)) << "waits no longer than that";
    services->rebuild();
    EXPECT_FALSE(services->waitUntilReady(0s)) << "before the queue has come to it";
    goesOn.release();
    ASSERT_TRUE(hasCome.try_acquire_for(10s));
    EXPECT_FALSE(services->waitUntilReady(0s)) << "although the queue has done other work";
    isHeld = false;
    goesOn.release();
    EXPECT_TRUE(services->waitUntilReady(1min));
    services->close();
}

TEST_F(AppServicesTest, LooksAgainInTimeAtWhatNobodyTells) {
    const auto services = started({.mechanism = WatchMechanism::polling});
    EXPECT_THAT(services->status().coverage, HasSubstr("poll"));
    for (const char* name : {"/a", "/b", "/c"}) {
        tree_.write(std::string("root") + name);
        EXPECT_TRUE(test::waitUntil([&] { return test::idOf(services->index(), root_ + name) >= 0; }));
    }
}

TEST_F(AppServicesTest, IsNotReadyAfterAFlushThatFoundAnotherRoot) {
    tree_.write("root/0");
    const auto services = started();
    for (int round = 1; round <= 50; ++round) {
        fs::rename(root_, tree_.path(fmt::format("former {}", round)));
        for (int i = 0; i <= round; ++i)
            tree_.write(fmt::format("root/{}", i));
        (void)services->flush(1min);
        ASSERT_TRUE(services->waitUntilReady(1min));
        ASSERT_EQ(services->index().itemCount(), round + 1);
    }
}

TEST_F(AppServicesTest, EndsInTheMiddleOfAScanAndKeepsNoPartOfIt) {
    for (int i = 0; i < 300; ++i)
        tree_.makeFolder(fmt::format("root/{}/{}/{}", i % 7, i % 31, i));
    for (int round = 0; round < 50; ++round) {
        const auto services = make();
        services->start();
        while (services->index().itemCount() < round)
            std::this_thread::yield();
        services->close();
    }
    const auto services = started();
    expectNoDifference(*services);
}

}  // namespace
}  // namespace dovra
