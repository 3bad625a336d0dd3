#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Platform/Descriptor.hpp"
#include "Platform/ProcessLimits.hpp"
#include "Support/Privileges.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

ProcessLimits limits(const test::TemporaryTree& tree, std::chrono::seconds processorTime) {
    return {.memoryBytes = RLIM_INFINITY,
            .processorTime = processorTime,
            .openFiles = 16,
            .readableFolders = {tree.path("in"), tree.path("missing")}};
}

bool opens(const std::string& path, int flags) {
    return ::open(path.c_str(), flags, 0600) >= 0;
}

TEST(ProcessLimits, HoldForAllThatFollows) {
    const test::TemporaryTree tree;
    const std::string readable = tree.write("in/a", "text");
    const std::string secret = tree.write("secret");
    const Descriptor writable(::open(secret.c_str(), O_WRONLY));
    constexpr int unguarded = 100;
    const int fault = test::inAChild([&] {
        (void)std::signal(SIGXFSZ, SIG_IGN);
        if (confineProcess(limits(tree, std::chrono::seconds(60)))) return 1;
        if (::write(writable.number(), "x", 1) >= 0 || errno != EFBIG) return 2;
        if (::socket(AF_INET, SOCK_STREAM, 0) >= 0 || ::socket(AF_UNIX, SOCK_STREAM, 0) >= 0) return 3;
        if (::kill(::getppid(), 0) == 0) return 4;
        if (::execl("/bin/true", "true", nullptr) == 0) return 5;
        const bool isGuarded = !opens(secret, O_RDONLY);
        if (isGuarded && (opens(readable, O_WRONLY) || opens(tree.path("in/new"), O_WRONLY | O_CREAT)))
            return 6;
        if (isGuarded && ::unlink(readable.c_str()) == 0) return 7;
        if (!opens(readable, O_RDONLY)) return 8;
        while (opens(readable, O_RDONLY)) {
        }
        if (errno != EMFILE) return 9;
        return isGuarded ? 0 : unguarded;
    });
    if (fault == unguarded) GTEST_SKIP() << "this kernel guards no folders";
    EXPECT_EQ(fault, 0);
}

TEST(ProcessLimits, EndAProcessThatComputesForEver) {
    const test::TemporaryTree tree;
    EXPECT_EXIT(
        {
            (void)confineProcess(limits(tree, std::chrono::seconds(1)));
            for (volatile int count = 0;;)
                count = count + 1;
        },
        testing::KilledBySignal(SIGKILL), "");
}

}  // namespace
}  // namespace dovra
