#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <string>

#include "Diagnostics/Benchmark.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using testing::HasSubstr;
using testing::Not;

struct Outcome {
    int status;
    std::string output;
    std::string errors;
};

Outcome runOn(const std::string& root, bool trigram) {
    const test::TemporaryTree home;
    ::setenv("XDG_DATA_HOME", home.path().c_str(), 1);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = Benchmark::run(root, trigram);
    ::unsetenv("XDG_DATA_HOME");
    const std::string ours = home.path("Dovra");
    EXPECT_TRUE(!std::filesystem::exists(ours) || std::filesystem::is_empty(ours)) << "a file was left";
    return {status, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
}

TEST(BenchmarkTest, ReportsTheTree) {
    const test::TemporaryTree tree;
    tree.write("src/libone.so");
    tree.write("src/two.txt");
    tree.makeFolder("void");
    const Outcome plain = runOn(tree.path(), false);
    EXPECT_EQ(plain.status, 0);
    EXPECT_THAT(plain.output, HasSubstr("Index:    4 entries, 3 folders, 23 bytes of names\n"));
    EXPECT_THAT(plain.output, testing::ContainsRegex("empty folders +empty: +1 "));
    EXPECT_THAT(plain.output, testing::ContainsRegex("Cache: +0.0 MB, .* saved in .* ms, loaded in .* ms"));
    EXPECT_THAT(plain.output, Not(HasSubstr("Trigram:")));
    EXPECT_EQ(plain.errors, "");
}

TEST(BenchmarkTest, CountsTheTrigramsOfTheIndexedNamesOnce) {
    const test::TemporaryTree tree;
    tree.write("abcd");   // abc, bcd
    tree.write("zzzzz");  // zzz
    EXPECT_THAT(runOn(tree.path(), true).output, HasSubstr("Trigram:  3 postings indexed\n"));
}

TEST(BenchmarkTest, AFolderThatCannotBeReadIsAnError) {
    const test::TemporaryTree tree;
    for (const std::string& root : {tree.path("absent"), tree.write("file")}) {
        const Outcome outcome = runOn(root, false);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.errors, "dovra: cannot read the folder " + root + "\n");
    }
}

}  // namespace
}  // namespace dovra
