#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <unistd.h>

#include "Platform/TerminationHandler.hpp"

namespace dovra {
namespace {

/// Each expectation runs in a process of its own. An alarm ends that process if a fault keeps it waiting.
class TerminationHandlerDeathTest : public testing::Test {
protected:
    void SetUp() override {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        // A test run in the background inherits ignored signals.
        for (const int signal : signals)
            (void)std::signal(signal, SIG_DFL);
    }

    /// Sends the signal to the process and waits for its end.
    [[noreturn]] static void die(int signal) {
        (void)::kill(::getpid(), signal);
        (void)::alarm(20);
        for (;;)
            (void)::pause();
    }
    static constexpr int signals[] = {SIGHUP, SIGINT, SIGTERM};

    static void finish() { (void)std::fputs("finished once.", stderr); }
};

TEST_F(TerminationHandlerDeathTest, ASignalEndsTheProcessAfterFinishingAndASecondAtOnce) {
    for (const int signal : signals) {
        const auto end = testing::KilledBySignal(signal);
        EXPECT_EXIT((TerminationHandler(finish), die(signal)), end, "^finished once.$");
        EXPECT_EXIT((TerminationHandler([signal] { die(signal); }), die(SIGTERM)), end, "");
    }
}

TEST_F(TerminationHandlerDeathTest, WhatIsIgnoredStaysSoAndNothingIsLeftBehindIt) {
    EXPECT_EXIT(
        {
            { const TerminationHandler gone(finish); }
            (void)std::signal(SIGHUP, SIG_IGN);
            const TerminationHandler handler(finish);
            (void)::kill(::getpid(), SIGHUP);
            (void)::kill(::getpid(), SIGURG);
            sigset_t pending{};
            do {
                (void)::sigpending(&pending);
            } while (::sigismember(&pending, SIGURG) != 0);
            die(SIGTERM);
        },
        testing::KilledBySignal(SIGTERM), "^finished once.$");
}

}  // namespace
}  // namespace dovra
