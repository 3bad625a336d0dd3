#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <thread>
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
    const ProcessLimits limits{.memoryBytes = RLIM_INFINITY,
                               .processorTime = std::chrono::seconds(1),
                               .openFiles = 16,
                               .readableFolders = {tree.path("in"), tree.path("missing")}};
    constexpr int unguarded = 100;
    const int fault = test::inAChild([&] {
        (void)std::signal(SIGXFSZ, SIG_IGN);
        if (confineProcess(limits)) return 1;
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
        return isGuarded ? 0 : unguarded;
    });
    const int end = test::inAChild([&] {
        if (confineProcess(limits)) return 1;
        for (const volatile bool goesOn = true; goesOn;) {
        }
        return 0;
    });
    EXPECT_EQ(end, -1);
    if (fault == unguarded) GTEST_SKIP() << "this kernel guards no folders";
    EXPECT_EQ(fault, 0);
}

TEST(ProcessLimits, LeaveNoWayToOtherProcesses) {
    const std::array<long, 3> ways[] = {
#ifdef SYS_fork
        {SYS_fork},
#endif
        {SYS_clone, SIGCHLD},
        {SYS_setsid},
        {SYS_setpgid},
        {SYS_unshare},
        {SYS_shmget, 1},
        {SYS_msgget, 1},
        {SYS_semget, 1},
        {SYS_keyctl},
        {SYS_pidfd_open, ::getpid()},
        {SYS_setpriority, PRIO_PROCESS, ::getpid()},
        {SYS_prlimit64, ::getpid(), RLIMIT_CPU},
        {SYS_fcntl, STDIN_FILENO, F_SETOWN},
    };
    for (const auto& [call, first, second] : ways) {
        const int fault = test::inAChild([&] {
            if (confineProcess({RLIM_INFINITY, std::chrono::seconds(60), 16, {}})) return 1;
            return ::syscall(call, first, second, 0, 0, 0) == -1 && errno == EACCES ? 0 : 2;
        });
        EXPECT_EQ(fault, 0) << call;
    }
    // Its own limits, descriptors and threads stay.
    const int fault = test::inAChild([] {
        if (confineProcess({RLIM_INFINITY, std::chrono::seconds(60), 16, {}})) return 1;
        struct rlimit limit {};
        if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_max != 16) return 2;
        if (::fcntl(STDERR_FILENO, F_GETFD) < 0) return 3;
        std::jthread([] {}).join();
        return 0;
    });
    EXPECT_EQ(fault, 0);
}

}  // namespace
}  // namespace dovra
