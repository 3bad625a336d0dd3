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
#include <sched.h>
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
constexpr std::array olderCalls = {SYS_fork, SYS_vfork};
#elif defined(__aarch64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_AARCH64;
constexpr std::array<int, 0> olderCalls = {};
#else
#error "Name the architecture here, as the kernel's audit interface calls it."
#endif

using Filter = std::vector<sock_filter>;

sock_filter load(std::size_t offset) {
    return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
}

sock_filter answer(std::uint32_t with) {
    return BPF_STMT(BPF_RET | BPF_K, with);
}

/// Skips so many instructions when the test fails.
sock_filter skipUnless(std::uint16_t test, std::uint32_t value, std::uint8_t count = 1) {
    return BPF_JUMP(static_cast<std::uint16_t>(BPF_JMP | test | BPF_K), value, 0, count);
}

/// Skips an instruction when the test succeeds.
sock_filter skipIf(std::uint16_t test, std::uint32_t value) {
    return BPF_JUMP(static_cast<std::uint16_t>(BPF_JMP | test | BPF_K), value, 1, 0);
}

void forbid(Filter& filter, long call, std::uint32_t error = EACCES) {
    filter.push_back(skipUnless(BPF_JEQ, static_cast<std::uint32_t>(call)));
    filter.push_back(answer(SECCOMP_RET_ERRNO | error));
}

/// Forbids the call unless `allow` skips the refusal. It tests the low half of an argument: the kernel reads
/// no more of those named here.
void forbid(Filter& filter, long call, std::size_t argument, sock_filter allow) {
    constexpr std::uint8_t length = 4;
    filter.push_back(skipUnless(BPF_JEQ, static_cast<std::uint32_t>(call), length));
    filter.push_back(load(offsetof(seccomp_data, args) + argument * sizeof(std::uint64_t)));
    filter.push_back(allow);
    filter.push_back(answer(SECCOMP_RET_ERRNO | EACCES));
    filter.push_back(load(offsetof(seccomp_data, nr)));
}

/// Sockets and programs; leaving the process group, with which the process is killed, and the namespaces;
/// signals to other processes, their memory, order and descriptors; memory, messages and keys in common with
/// them; and large interfaces of the kernel that no decoder needs.
constexpr std::array forbiddenCalls = {
    // clang-format off
    SYS_socket, SYS_execve, SYS_execveat,
    SYS_setsid, SYS_setpgid, SYS_unshare, SYS_setns,
    SYS_kill, SYS_tkill, SYS_tgkill, SYS_rt_sigqueueinfo, SYS_rt_tgsigqueueinfo, SYS_pidfd_send_signal,
    SYS_ptrace, SYS_process_vm_readv, SYS_process_vm_writev, SYS_migrate_pages, SYS_move_pages,
    SYS_setpriority, SYS_ioprio_set,
    SYS_sched_setaffinity, SYS_sched_setattr, SYS_sched_setparam, SYS_sched_setscheduler,
    SYS_pidfd_open, SYS_pidfd_getfd, SYS_kcmp,
    SYS_shmget, SYS_shmat, SYS_shmctl, SYS_msgget, SYS_msgsnd, SYS_msgrcv, SYS_msgctl,
    SYS_semget, SYS_semop, SYS_semtimedop, SYS_semctl, SYS_mq_open, SYS_mq_unlink,
    SYS_keyctl, SYS_add_key, SYS_request_key,
    SYS_bpf, SYS_perf_event_open, SYS_userfaultfd, SYS_io_uring_setup,
    // clang-format on
};

/// Makes the system calls fail that reach beyond the process, and ends the process on a call in the numbering
/// of another architecture. Without signals to itself, `abort` still ends it, by an instruction that faults.
bool forbidCalls() {
    constexpr std::uint32_t otherNumbering = 0x40000000;
    Filter filter = {
        load(offsetof(seccomp_data, arch)),  skipIf(BPF_JEQ, architecture),
        answer(SECCOMP_RET_KILL_PROCESS),    load(offsetof(seccomp_data, nr)),
        skipUnless(BPF_JGE, otherNumbering), answer(SECCOMP_RET_KILL_PROCESS),
    };
    for (const long call : forbiddenCalls)
        forbid(filter, call);
    for (const long call : olderCalls)
        forbid(filter, call);
    // Threads start, processes do not. The flags of `clone3` lie in memory, where no filter sees them: as if
    // the kernel had no such call, the C library starts its threads with `clone`.
    forbid(filter, SYS_clone3, ENOSYS);
    forbid(filter, SYS_clone, 0, skipIf(BPF_JSET, CLONE_THREAD));
    forbid(filter, SYS_prlimit64, 0, skipIf(BPF_JEQ, 0));
    // These choose a process that gets a signal when a file is ready.
    for (const std::uint32_t command : {F_SETOWN, F_SETOWN_EX, F_SETSIG})
        forbid(filter, SYS_fcntl, 1, skipUnless(BPF_JEQ, command));
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
