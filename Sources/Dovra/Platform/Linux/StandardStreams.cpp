#include "Platform/StandardStreams.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "Base/Theme.hpp"

namespace dovra {

bool isTerminal(StandardStream stream) {
    return ::isatty(stream == StandardStream::output ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

namespace {

bool colourIsUnwanted() {
    const char* value = std::getenv("NO_COLOR");
    return value != nullptr && value[0] != '\0';
}

}  // namespace

TerminalStyle::TerminalStyle(StandardStream stream) : isOn_(isTerminal(stream) && !colourIsUnwanted()) {}

std::string TerminalStyle::styled(std::string_view escape, std::string_view text) const {
    if (!isOn_) return std::string(text);
    return std::string(escape).append(text).append("\x1b[0m");
}

std::string TerminalStyle::bold(std::string_view text) const {
    return styled("\x1b[1m", text);
}

std::string TerminalStyle::accent(std::string_view text) const {
    return styled(theme::accent.dark.ansiForeground(isOn_), text);
}

std::string TerminalStyle::dim(std::string_view text) const {
    return styled("\x1b[2m", text);
}

namespace {

/// Whether a failed call is worth another try; waits until it is. The call was interrupted, or the parent
/// process made the stream a non-blocking one.
bool mayRetry(int descriptor, short event) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN) return false;
    pollfd waiting{.fd = descriptor, .events = event, .revents = 0};
    return ::poll(&waiting, 1, -1) >= 0 || errno == EINTR;
}

}  // namespace

void occupyStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) >= 0) continue;
        // The system gives the lowest free number, which is this one. The wrong direction makes any use fail,
        // as the C library does it for programs with another user's rights.
        (void)::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

void ignoreClosedPipes() {
    (void)std::signal(SIGPIPE, SIG_IGN);
}

void ignoreFileSizeSignal() {
    (void)std::signal(SIGXFSZ, SIG_IGN);
}

bool waitForStandardInput(std::optional<std::chrono::milliseconds> patience) {
    std::array<pollfd, 2> streams = {pollfd{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
                                     pollfd{.fd = STDOUT_FILENO, .events = 0, .revents = 0}};
    const int timeout = patience ? static_cast<int>(patience->count()) : -1;
    return ::poll(streams.data(), streams.size(), timeout) > 0 && streams[0].revents != 0;
}

std::size_t readStandardInput(std::span<char> destination) {
    for (;;) {
        const ssize_t count = ::read(STDIN_FILENO, destination.data(), destination.size());
        if (count >= 0) return static_cast<std::size_t>(count);
        if (!mayRetry(STDIN_FILENO, POLLIN)) return 0;
    }
}

bool writeStandardOutput(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (!mayRetry(STDOUT_FILENO, POLLOUT)) {
            return false;
        }
    }
    return true;
}

bool isStandardOutputRead() {
    // Without any requested event, only the end of the stream is reported.
    pollfd output{.fd = STDOUT_FILENO, .events = 0, .revents = 0};
    return ::poll(&output, 1, 0) <= 0;
}

}  // namespace dovra
