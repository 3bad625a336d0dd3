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

bool opens(const std::string& path, int flags) {
    return ::open(path.c_str(), flags, 0600) >= 0;
}

TEST(ProcessLimits, HoldForAllThatFollows) {
    const test::TemporaryTree tree;
    const std::string readable = tree.write("in/a");
    const std::string secret = tree.write("secret");
    const Descriptor writable(::open(secret.c_str(), O_WRONLY));
    constexpr int unguarded = 100;
    const int fault = test::inAChild([&] {
        (void)std::signal(SIGXFSZ, SIG_IGN);
        if (confineProcess({.memoryBytes = RLIM_INFINITY,
                            .processorTime = std::chrono::seconds(1),
                            .openFiles = 16,
                            .readableFolders = {tree.path("in"), tree.path("missing")}}))
            return 1;
        if (::write(writable.number(), "x", 1) >= 0 || errno != EFBIG) return 2;
        if (::socket(AF_INET, SOCK_STREAM, 0) >= 0 || ::socket(AF_UNIX, SOCK_STREAM, 0) >= 0) return 3;
        if (::kill(::getppid(), 0) == 0 || ::execl("/bin/true", "true", nullptr) == 0) return 4;
        const bool isGuarded = !opens(secret, O_RDONLY);
        if (isGuarded && (opens(readable, O_WRONLY) || opens(tree.path("in/new"), O_WRONLY | O_CREAT) ||
                          ::unlink(readable.c_str()) == 0))
            return 5;
        if (!opens(readable, O_RDONLY)) return 6;
        while (opens(readable, O_RDONLY)) {
        }
        if (errno != EMFILE) return 7;
        // Its child ends when the time for computing is over.
        if (test::inAChild([] {
                for (const volatile bool goesOn = true; goesOn;) {
                }
                return 0;
            }) != -1)
            return 8;
        return isGuarded ? 0 : unguarded;
    });
    if (fault == unguarded) GTEST_SKIP() << "this kernel guards no folders";
    EXPECT_EQ(fault, 0);
}

}  // namespace
}  // namespace dovra
