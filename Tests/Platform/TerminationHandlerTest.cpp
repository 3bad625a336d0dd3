#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <unistd.h>

#include "Platform/TerminationHandler.hpp"

namespace dovra {
namespace {

/// Each statement runs in a process of its own, which a fault may not keep waiting for ever.
class TerminationHandlerDeathTest : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    static void sendToProcess(int signal) { (void)::kill(::getpid(), signal); }

    [[noreturn]] static void waitForTheEnd() {
        (void)::alarm(20);
        for (;;)
            (void)::pause();
    }
    static void waitUntilTaken(int signal) {
        sigset_t pending{};
        do {
            (void)::sigpending(&pending);
        } while (::sigismember(&pending, signal) != 0);
    }

    static void finish() { (void)std::fputs("finished once.", stderr); }
};

TEST_F(TerminationHandlerDeathTest, ASignalEndsTheProcessAfterFinishing) {
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        EXPECT_EXIT(
            {
                const TerminationHandler handler(finish);
                sendToProcess(signal);
                waitForTheEnd();
            },
            testing::KilledBySignal(signal), "^finished once.$");
    }
}

TEST_F(TerminationHandlerDeathTest, ASecondSignalEndsItAtOnce) {
    for (const int second : {SIGTERM, SIGINT}) {
        EXPECT_EXIT(
            {
                const TerminationHandler handler([second] {
                    sendToProcess(second);
                    waitForTheEnd();
                });
                sendToProcess(SIGTERM);
                waitForTheEnd();
            },
            testing::KilledBySignal(second), "");
    }
}

TEST_F(TerminationHandlerDeathTest, WhatIsIgnoredStaysSoAndNothingIsLeftBehindIt) {
    EXPECT_EXIT(
        {
            { const TerminationHandler gone(finish); }
            (void)std::signal(SIGHUP, SIG_IGN);
            const TerminationHandler handler(finish);
            sendToProcess(SIGHUP);
            sendToProcess(SIGURG);
            waitUntilTaken(SIGURG);
            sendToProcess(SIGTERM);
            waitForTheEnd();
        },
        testing::KilledBySignal(SIGTERM), "^finished once.$");
}

}  // namespace
}  // namespace dovra
