#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

#include "Platform/ChildProcess.hpp"
#include "Support/TemporaryTree.hpp"
#include "Support/WaitUntil.hpp"

namespace dovra {
namespace {

using End = ChildResult::End;
using namespace std::chrono_literals;

/// The letter of the process's state in the system's table.
char stateOf(pid_t process) {
    std::string line;
    std::getline(std::ifstream("/proc/" + std::to_string(process) + "/stat"), line);
    // The name before it may hold anything.
    const std::size_t name = line.rfind(") ");
    return name == std::string::npos ? '\0' : line.at(name + 2);
}

class ChildProcess : public testing::Test {
protected:
    ChildResult run(const std::string& script, std::chrono::milliseconds patience,
                    const std::stop_token& stop = {}) const {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        return runChild({"/bin/sh", {"-c", script}, input_, 10'000, deadline}, stop);
    }

    const test::TemporaryTree tree_;
    const Descriptor input_{::open(tree_.write("input", "given").c_str(), O_RDONLY)};
};

TEST_F(ChildProcess, EndsInEveryWayWithWhatItSaid) {
    // Left open for children on purpose.
    const Descriptor ours(::dup(input_.number()));
    const std::tuple<std::string, End, int, std::string, std::string> cases[] = {
        {"cat; echo broken >&2; exit 3", End::exited, 3, "given", "broken\n"},
        {"ls /proc/self/fd", End::exited, 0, "0\n1\n2\n3\n", ""},
        {"echo said; kill -SEGV $$", End::signalled, SIGSEGV, "said\n", ""},
        {"sleep 1000 & echo said", End::exited, 0, "said\n", ""},
        {"echo said; yes >&2", End::outOfTime, 0, "said\n", "y\ny\n"},
        {"echo said; exec >&- 2>&-; sleep 1000", End::outOfTime, 0, "said\n", ""},
        {"trap '' TERM INT HUP; while :; do :; done", End::outOfTime, 0, "", ""},
        {"yes", End::saidTooMuch, 0, "y\ny\n", ""},
    };
    for (const auto& [script, end, code, output, errors] : cases) {
        ::lseek(input_.number(), 0, SEEK_SET);
        const ChildResult result = run(script, end == End::outOfTime ? 2s : 60s);
        EXPECT_EQ(std::tuple(result.end, result.code), std::tuple(end, code)) << script;
        EXPECT_TRUE(result.output.starts_with(output) && result.errors.starts_with(errors)) << script;
        EXPECT_EQ(result.output.size(), end == End::saidTooMuch ? 10'000 : output.size()) << script;
    }
}

TEST_F(ChildProcess, AStopKillsItWithTheProcessesThatItStarted) {
    const std::string started = tree_.path("started");
    std::stop_source stop;
    ChildResult result;
    std::jthread running(
        [&] { result = run("sleep 1000 & echo $!; touch " + started + "; wait", 60s, stop.get_token()); });
    ASSERT_TRUE(test::waitUntil([&] { return std::filesystem::exists(started); }));
    stop.request_stop();
    running.join();
    EXPECT_EQ(result.end, End::stopped);
    // Killed, it keeps its number until the system reaps it, which some containers never do.
    const pid_t child = std::stoi(result.output);
    const auto hasEnded = [&] { return ::kill(child, 0) != 0 || stateOf(child) == 'Z'; };
    EXPECT_TRUE(test::waitUntil(hasEnded));
    EXPECT_EQ(run("sleep 1000", 60s, stop.get_token()).end, End::stopped);
}

}  // namespace
}  // namespace dovra
