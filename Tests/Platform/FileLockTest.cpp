#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "Platform/FileLock.hpp"
#include "Support/FileFacts.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

TEST(FileLock, HasOneHolderAtATime) {
    const test::TemporaryTree tree;
    const std::string path = tree.path("lock");
    // In a file, because the sanitizers do not know what a file lock guards.
    const std::string counter = tree.write("counter", "0");
    constexpr int holders = 4;
    std::vector<std::thread> threads;
    threads.reserve(holders);
    for (int i = 0; i < holders; ++i) {
        threads.emplace_back([&] {
            for (int turn = 0; turn < 50; ++turn) {
                const auto lock = FileLock::acquire(path);
                ASSERT_TRUE(std::holds_alternative<FileLock>(lock));
                tree.write("counter", std::to_string(std::stoi(test::bytesOf(counter)) + 1));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(test::bytesOf(counter), "200");
    EXPECT_EQ(test::modeOf(path), 0600U);
}

TEST(FileLock, SaysWhyThereIsNone) {
    const test::TemporaryTree tree;
    const auto lock = FileLock::acquire(tree.path("absent/lock"));
    ASSERT_TRUE(std::holds_alternative<FileError>(lock));
    EXPECT_EQ(std::get<FileError>(lock).code, ENOENT);
}

}  // namespace
}  // namespace dovra
