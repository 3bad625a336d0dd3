#include <chrono>
#include <fmt/format.h>
#include <future>
#include <gtest/gtest.h>

#include "Services/ScannedIndex.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;

TEST(ScannedIndex, IsReadyWhenAllIsThere) {
    const test::TemporaryTree tree;
    tree.write("a/b.txt");
    tree.write("c.txt");
    std::promise<std::int64_t> countWhenReady;
    ScannedIndex service(tree.path(), false);
    EXPECT_FALSE(service.waitUntilReady(0ms));
    service.start([&] { countWhenReady.set_value(service.index().itemCount()); });
    EXPECT_TRUE(service.waitUntilReady(1h));
    EXPECT_EQ(countWhenReady.get_future().get(), 3);
}

TEST(ScannedIndex, EndsInTheMiddleOfAScan) {
    const test::TemporaryTree tree;
    for (int i = 0; i < 300; ++i)
        tree.makeFolder(fmt::format("{}/{}/{}", i % 7, i % 31, i));
    for (int round = 0; round < 200; ++round) {
        ScannedIndex service(tree.path(), false);
        service.start({});
        while (service.index().itemCount() < round % 50)
            std::this_thread::yield();
    }
}

}  // namespace
}  // namespace dovra
