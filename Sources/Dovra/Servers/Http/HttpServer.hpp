#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "Servers/Http/HttpMessage.hpp"

namespace dovra {

/// Serves HTTP/1.1 on one port, one request a connection: reads the head, asks for the answer, sends it and
/// closes. One thread, which calls `run`, does all that. The threads of a pool make the answers, several at
/// once.
///
/// No client can block the others: heads, clients that take no bytes and the number of connections have
/// limits. When all connections are taken and more clients wait, the one that has waited longest for its
/// head gives way.
class HttpServer {
public:
    /// Where to listen, and which token clients must know.
    struct Address {
        std::string host = "127.0.0.1";  ///< an address or a name of this machine; "0.0.0.0" means all
        std::uint16_t port = 8080;       ///< 0 for any that is free
        std::string token = {};          ///< what clients have to know; empty for nothing
    };

    /// Where answers come from.
    struct Source {
        /// Brings the data of the answers up to date. Called before requests are answered, once for all that
        /// arrived meanwhile. Between a request's arrival and its answer lies one whole call.
        std::function<void()> refresh;
        /// Whether a request may take long. Called on the thread that serves, so it must be quick.
        std::function<bool(const HttpRequest&)> isSlow;
        /// Called on the pool, several at once. Ends early when a stop is requested: nobody is left to take
        /// the answer.
        std::function<HttpResponse(const HttpRequest&, const std::stop_token&)> handle;
        /// Takes a message about a request that a fault of the server left without an answer.
        std::function<void(const std::string&)> report;
    };

    struct Limits {
        std::chrono::milliseconds headTime = std::chrono::seconds(10);   ///< for the whole head
        std::chrono::milliseconds stallTime = std::chrono::seconds(30);  ///< in which a client takes no bytes
        std::chrono::milliseconds closingTime =
            std::chrono::seconds(2);  ///< when one side has closed, for the other
        std::chrono::milliseconds endTime =
            std::chrono::seconds(10);  ///< for running answers, once told to stop
        std::size_t connections = 256;
        std::size_t threads = 0;  ///< for answers, of which slow ones get half; 0 for what suits the machine
    };

    HttpServer(Address address, Source source, Limits limits);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Begins to listen: clients may connect, and wait for `run`. Returns the reason of a failure.
    std::optional<std::string> start();

    /// After `start`: the port, whether only this machine reaches it, and the first page's
    /// address.
    std::uint16_t port() const;
    bool isLoopback() const;
    std::string pageAddress() const;

    /// Serves on the calling thread until `stop`. Called once, after `start`. Returns when nothing of a
    /// request runs any more.
    void run();

    /// Takes no more requests. Returns when all running answers are finished, or their time is over. Any
    /// thread that is not the server's may call it; `run` is running or will be.
    void stop();

private:
    class Listener;

    std::unique_ptr<Listener> listener_;
};

}  // namespace dovra
