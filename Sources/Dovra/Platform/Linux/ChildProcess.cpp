#include "Platform/ChildProcess.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Platform/Linux/SystemCalls.hpp"

namespace dovra {

namespace {

using Clock = std::chrono::steady_clock;
using End = ChildResult::End;

/// One of the child's output streams, read into a text of bounded length.
class Stream {
public:
    Stream(std::string& text, std::size_t bound) : text_(text), bound_(bound) {
        std::array<int, 2> ends = {-1, -1};
        (void)::pipe2(ends.data(), O_CLOEXEC);
        reader_ = Descriptor(ends[0]);
        writer_ = Descriptor(ends[1]);
        // Only reading must not wait: the child counts on an ordinary stream.
        (void)::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    }

    int reader() const { return reader_.number(); }
    int writer() const { return writer_.number(); }
    void closeWriter() { writer_ = Descriptor(); }

    /// Reads what is there. False when that is more than the bound.
    bool read() {
        std::array<char, 65536> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled by reading
        while (reader_) {
            const ssize_t count =
                uninterrupted([&] { return ::read(reader(), buffer.data(), buffer.size()); });
            if (count < 0 && errno == EAGAIN) return true;
            if (count <= 0) reader_ = Descriptor();
            const auto arrived = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
            const std::size_t kept = std::min(arrived, bound_ - text_.size());
            text_.append(buffer.data(), kept);
            if (kept < arrived) return false;
        }
        return true;
    }

private:
    std::string& text_;
    std::size_t bound_;
    Descriptor reader_;
    Descriptor writer_;
};

/// Starts the program in a process group of its own, with no signal blocked or ignored. Returns the error
/// number.
int spawn(const ChildCommand& command, int output, int errors, pid_t& child) {
    posix_spawn_file_actions_t streams;
    ::posix_spawn_file_actions_init(&streams);
    ::posix_spawn_file_actions_adddup2(&streams, command.input.number(), STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&streams, output, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&streams, errors, STDERR_FILENO);
    ::posix_spawn_file_actions_addclosefrom_np(&streams, STDERR_FILENO + 1);

    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    sigset_t signals;
    ::sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes, &signals);
    ::sigfillset(&signals);
    ::posix_spawnattr_setsigdefault(&attributes, &signals);
    ::posix_spawnattr_setflags(&attributes,
                               POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    std::vector<char*> words = {const_cast<char*>(command.program.c_str())};
    for (const std::string& argument : command.arguments)
        words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    const int error = ::posix_spawn(&child, words[0], &streams, &attributes, words.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&streams);
    return error;
}

int millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 1'000'000));
}

/// Collects what the child writes until it ends, or has to. `stop` becomes readable with the request.
End follow(const Descriptor& child, const Descriptor& stop, Clock::time_point deadline, Stream& output,
           Stream& errors) {
    for (;;) {
        std::array<pollfd, 4> events = {pollfd{output.reader(), POLLIN, 0},
                                        pollfd{errors.reader(), POLLIN, 0}, pollfd{child.number(), POLLIN, 0},
                                        pollfd{stop.number(), POLLIN, 0}};
        const int timeout = millisecondsUntil(deadline);
        (void)::poll(events.data(), events.size(), timeout);
        // Read after the end was seen, the streams hold all that the child wrote.
        if (!output.read()) return End::saidTooMuch;
        (void)errors.read();
        if (events[2].revents != 0) return End::exited;
        if (events[3].revents != 0) return End::stopped;
        if (timeout == 0) return End::outOfTime;
    }
}

/// Kills what is left of the child's process group and takes its status.
int reap(pid_t child) {
    // Until it is reaped, the number belongs to no other group.
    (void)::kill(-child, SIGKILL);
    int status = 0;
    (void)uninterrupted([&] { return ::waitpid(child, &status, 0); });
    return status;
}

}  // namespace

ChildResult runChild(const ChildCommand& command, const std::stop_token& stop) {
    constexpr std::size_t mostErrorBytes = 4096;
    ChildResult result;
    Stream output(result.output, command.mostOutputBytes);
    Stream errors(result.errors, mostErrorBytes);
    const Descriptor stopEvent(::eventfd(0, EFD_CLOEXEC));
    pid_t child = 0;
    if (output.reader() < 0 || errors.reader() < 0 || !stopEvent) {
        result.code = errno;
        return result;
    }
    result.code = spawn(command, output.writer(), errors.writer(), child);
    if (result.code != 0) return result;
    output.closeWriter();
    errors.closeWriter();

    const std::stop_callback wake(stop, [&] { (void)::eventfd_write(stopEvent.number(), 1); });
    const Descriptor process(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
    const int error = errno;
    if (process) result.end = follow(process, stopEvent, command.deadline, output, errors);
    const int status = reap(child);
    if (!process) result.code = error;
    if (result.end != End::exited) return result;
    if (WIFSIGNALED(status)) result.end = End::signalled;
    result.code = WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
    return result;
}

}  // namespace dovra
