#include "Platform/ProcessLimits.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "Platform/Descriptor.hpp"
#include "Platform/Linux/SystemCalls.hpp"

namespace dovra {

namespace {

bool limit(__rlimit_resource resource, std::size_t most) {
    struct rlimit now {};
    if (::getrlimit(resource, &now) != 0) return false;
    // A stricter limit that was set from outside stays.
    const rlim_t value = std::min<rlim_t>(most, now.rlim_max);
    const struct rlimit both { .rlim_cur = value, .rlim_max = value };
    return ::setrlimit(resource, &both) == 0;
}

/// Every right to files that the running kernel can take away: each version knows one or two more.
std::uint64_t guardedRights(long version) {
    constexpr std::array<std::uint64_t, 5> byVersion = {0x1FFF, 0x3FFF, 0x7FFF, 0x7FFF, 0xFFFF};
    return byVersion[static_cast<std::size_t>(std::min<long>(version, byVersion.size())) - 1];
}

void allowReading(const Descriptor& rules, const std::string& folder) {
    const Descriptor opened(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const landlock_path_beneath_attr below{
        .allowed_access = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR,
        .parent_fd = opened.number()};
    // A folder that cannot be opened cannot be read from either.
    if (opened) (void)::syscall(SYS_landlock_add_rule, rules.number(), LANDLOCK_RULE_PATH_BENEATH, &below, 0);
}

/// Takes away all access to files but reading below the folders.
bool guardFolders(const std::vector<std::string>& readable) {
    const long version = ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1) return errno == ENOSYS || errno == EOPNOTSUPP;
    const landlock_ruleset_attr attributes{.handled_access_fs = guardedRights(version)};
    const Descriptor rules(
        static_cast<int>(::syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0)));
    if (!rules) return false;
    for (const std::string& folder : readable)
        allowReading(rules, folder);
    return ::syscall(SYS_landlock_restrict_self, rules.number(), 0) == 0;
}

#if defined(__x86_64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_AARCH64;
#else
#error "Name the architecture here, as the kernel's audit interface calls it."
#endif

/// Makes the system calls fail that reach beyond the process, and ends the process on a call in the numbering
/// of another architecture. Without signals to itself, `abort` still ends it, by an instruction that faults.
bool forbidCalls() {
    constexpr std::array forbidden = {SYS_socket,
                                      SYS_execve,
                                      SYS_execveat,
                                      SYS_ptrace,
                                      SYS_process_vm_readv,
                                      SYS_process_vm_writev,
                                      SYS_pidfd_getfd,
                                      SYS_io_uring_setup,
                                      SYS_kill,
                                      SYS_tkill,
                                      SYS_tgkill,
                                      SYS_rt_sigqueueinfo,
                                      SYS_rt_tgsigqueueinfo,
                                      SYS_pidfd_send_signal};
    constexpr std::uint32_t otherNumbering = 0x40000000;
    const auto load = [](std::uint32_t offset) {
        return sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offset);
    };
    const auto answer = [](std::uint32_t with) { return sock_filter BPF_STMT(BPF_RET | BPF_K, with); };
    const auto skipUnless = [](std::uint16_t test, std::uint32_t value) {
        return sock_filter BPF_JUMP(static_cast<std::uint16_t>(BPF_JMP | test | BPF_K), value, 0, 1);
    };
    const auto skipIf = [](std::uint16_t test, std::uint32_t value) {
        return sock_filter BPF_JUMP(static_cast<std::uint16_t>(BPF_JMP | test | BPF_K), value, 1, 0);
    };
    std::vector<sock_filter> filter = {
        load(offsetof(seccomp_data, arch)),  skipIf(BPF_JEQ, architecture),
        answer(SECCOMP_RET_KILL_PROCESS),    load(offsetof(seccomp_data, nr)),
        skipUnless(BPF_JGE, otherNumbering), answer(SECCOMP_RET_KILL_PROCESS),
    };
    for (const long call : forbidden) {
        filter.push_back(skipUnless(BPF_JEQ, static_cast<std::uint32_t>(call)));
        filter.push_back(answer(SECCOMP_RET_ERRNO | EACCES));
    }
    filter.push_back(answer(SECCOMP_RET_ALLOW));
    const sock_fprog program{.len = static_cast<unsigned short>(filter.size()), .filter = filter.data()};
    return ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

}  // namespace

std::optional<std::string> confineProcess(const ProcessLimits& limits) {
    // A process that is not dumpable cannot be traced by others of the same user either.
    const bool isConfined = ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
                            ::prctl(PR_SET_DUMPABLE, 0) == 0 && limit(RLIMIT_CORE, 0) &&
                            limit(RLIMIT_FSIZE, 0) &&
                            limit(RLIMIT_CPU, static_cast<std::size_t>(limits.processorTime.count())) &&
                            limit(RLIMIT_AS, limits.memoryBytes) && guardFolders(limits.readableFolders) &&
                            forbidCalls() && limit(RLIMIT_NOFILE, limits.openFiles);
    if (isConfined) return std::nullopt;
    return fileError("confine", "this process").message;
}

}  // namespace dovra
