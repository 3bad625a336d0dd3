#pragma once

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstdint>
#include <netinet/in.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace dovra::test {

/// One connection to a server on this machine, on which any bytes go out.
class HttpClient {
public:
    explicit HttpClient(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const timeval patience{.tv_sec = 20, .tv_usec = 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("cannot connect");
    }
    HttpClient(std::uint16_t port, std::string_view request) : HttpClient(port) { send(request); }
    ~HttpClient() { ::close(socket_); }
    HttpClient(HttpClient&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}

    /// What the server does not take any more is lost.
    void send(std::string_view bytes) const {
        (void)::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }

    void finish() const { ::shutdown(socket_, SHUT_WR); }

    void reset() const {
        const linger atOnce{.l_onoff = 1, .l_linger = 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        sockaddr unspecified{};
        unspecified.sa_family = AF_UNSPEC;
        (void)::connect(socket_, &unspecified, sizeof unspecified);
    }

    /// All that comes until the server closes; "timeout" behind it when it does not.
    std::string receive() const {
        std::string all;
        std::array<char, 65536> part{};
        for (;;) {
            const ssize_t count = ::recv(socket_, part.data(), part.size(), 0);
            if (count < 0 && (errno == EAGAIN || errno == EINTR)) return all + "timeout";
            if (count <= 0) return all;
            all.append(part.data(), static_cast<std::size_t>(count));
        }
    }

private:
    int socket_;
};

}  // namespace dovra::test
