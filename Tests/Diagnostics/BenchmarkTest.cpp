#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>

#include "Diagnostics/Benchmark.hpp"
#include "Diagnostics/Latency.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

TEST(BenchmarkTest, ReportsTheTreeAndLeavesNothingBehind) {
    const test::TemporaryTree tree;
    tree.write("src/abcd");
    tree.write("zzzzz");
    tree.makeFolder("void");
    const test::TemporaryTree home;
    ::setenv("XDG_DATA_HOME", home.path().c_str(), 1);
    testing::internal::CaptureStdout();
    EXPECT_EQ(Benchmark::run(tree.path(), true), 0);
    ::unsetenv("XDG_DATA_HOME");
    const std::string ours = home.path("Dovra");
    EXPECT_TRUE(!std::filesystem::exists(ours) || std::filesystem::is_empty(ours)) << "a file was left";
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_THAT(output, testing::HasSubstr("Index:    4 entries, 3 folders, 16 bytes of names\n"));
    EXPECT_THAT(output, testing::ContainsRegex("empty folders +empty: +1 "));
    // abc, bcd, zzz, src, voi, oid
    EXPECT_THAT(output, testing::HasSubstr("Trigram:  6 postings indexed\n"));
}

TEST(LatencyTest, PercentilesAreTheNearestRanks) {
    std::vector<double> shuffled(200);
    for (int i = 0; i < 200; ++i)
        shuffled[static_cast<std::size_t>(i)] = 1 + i * 77 % 200;  // 1 to 200 in disorder
    const Latency latency(shuffled);
    EXPECT_EQ(latency.minimum(), 1);
    EXPECT_EQ(latency.median(), 100);
    EXPECT_EQ(latency.percentile(99), 198);
    EXPECT_EQ(latency.percentile(100), 200);
    EXPECT_EQ(Latency({7}).percentile(1), 7);
}

}  // namespace
}  // namespace dovra
