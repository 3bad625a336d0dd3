#include "Servers/Http/HttpServer.hpp"

#include <algorithm>
#include <array>
#include <asio/awaitable.hpp>
#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/redirect_error.hpp>
#include <asio/steady_timer.hpp>
#include <asio/thread_pool.hpp>
#include <asio/use_awaitable.hpp>
#include <asio/write.hpp>
#include <atomic>
#include <exception>
#include <fmt/format.h>
#include <list>
#include <string_view>
#include <utility>

#include "Base/Concurrency.hpp"
#include "Base/Utf8.hpp"
#include "Platform/Process.hpp"
#include "Servers/Http/HttpAccess.hpp"
#include "Servers/Http/HttpError.hpp"
#include "Servers/Http/HttpFraming.hpp"
#include "Servers/Http/HttpRequestHead.hpp"

namespace dovra {

namespace {

using namespace std::chrono_literals;
using asio::awaitable;
using asio::ip::tcp;
using Clock = std::chrono::steady_clock;
using Error = asio::error_code;

constexpr std::size_t readBytes = std::size_t{64} * 1024;
constexpr std::size_t mostHeadBytes = std::size_t{256} * 1024;
constexpr std::size_t chunkBytes = std::size_t{256} * 1024;

/// The bytes that the system keeps for a slow client. With many more, such a client would seem to take
/// nothing for longer than it may.
constexpr int sendBufferBytes = 256 * 1024;

/// The time that a client has to begin when others wait for its place: enough for a distant client, and less
/// when most others are silent, too, as in a flood of connections.
constexpr auto graceTime = 200ms;
constexpr auto hurriedGraceTime = 50ms;

constexpr auto never = Clock::time_point::max();

/// The way to go on when an operation has ended, with `error` instead of an exception.
auto noting(Error& error) {
    return asio::redirect_error(asio::use_awaitable, error);
}

/// Ends a coroutine that the whole server needs: its exception becomes that of `run`. The failure of a
/// client's coroutine ends with the connection.
void endWithFault(const std::exception_ptr& fault) {
    if (fault) std::rethrow_exception(fault);
}

/// Work on another thread, as a coroutine.
template <typename Work>
awaitable<std::invoke_result_t<const Work&>> performed(Work work) {
    setCurrentThreadName("dovra.http");
    co_return work();
}

/// Counts for its lifetime.
class Counted {
public:
    explicit Counted(std::size_t& count) : count_(count) { ++count_; }
    ~Counted() { --count_; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

private:
    std::size_t& count_;
};

/// An event that several coroutines may wait for.
class Signal {
public:
    explicit Signal(asio::io_context& context) : timer_(context, never) {}

    /// Returns with the next `notify`.
    awaitable<void> wait() {
        Error error;
        co_await timer_.async_wait(noting(error));
    }
    void notify() { timer_.cancel(); }

private:
    asio::steady_timer timer_;
};

HttpServer::Limits completed(HttpServer::Limits limits) {
    if (limits.threads == 0) limits.threads = std::max<std::size_t>(activeProcessorCount(), 4);
    return limits;
}

}  // namespace

/// But for `stop` and what is given to the pool, all of it runs on one thread, so nothing is locked.
class HttpServer::Listener {
public:
    Listener(Address address, Source source, Limits limits)
        : address_(std::move(address)), source_(std::move(source)), limits_(completed(limits)) {}

    std::optional<std::string> start() {
        Error error;
        const auto found =
            tcp::resolver(context_).resolve(address_.host, std::to_string(address_.port),
                                            tcp::resolver::passive | tcp::resolver::numeric_service, error);
        // A name may have addresses of a kind that this machine does not use.
        for (auto entry = found.begin(); entry != found.end(); ++entry) {
            listen(entry->endpoint(), error);
            if (!error) break;
        }
        if (error) return error.message();
        access_.emplace(address_.host, endpoint_.port(), address_.token);
        return std::nullopt;
    }

    const tcp::endpoint& endpoint() const { return endpoint_; }

    std::string pageAddress() const {
        std::string host = address_.host;
        if (endpoint_.address().is_unspecified()) host = "localhost";
        if (host.find(':') != std::string::npos) host = "[" + host + "]";
        return fmt::format("http://{}:{}/{}", host, endpoint_.port(), access_->addressSuffix());
    }

    void run() {
        pool_.emplace(limits_.threads);
        asio::co_spawn(context_, acceptAll(), endWithFault);
        asio::co_spawn(context_, keepDeadlines(), endWithFault);
        context_.run();
        setEnded();
        pool_->join();
    }

    void stop() {
        asio::post(context_, [this] { beginEnd(); });
        hasEnded_.wait(false);
    }

private:
    /// One client. It is there as long as one of its two coroutines: `serve`, which reads from the client,
    /// and `answer`, which writes to it.
    struct Connection {
        Connection(Listener& itsListener, tcp::socket itsSocket)
            : listener(itsListener),
              socket(std::move(itsSocket)),
              place(listener.connections_.insert(listener.connections_.end(), this)) {}
        ~Connection() { listener.forget(place); }
        Connection(const Connection&) = delete;
        Connection& operator=(const Connection&) = delete;

        /// Nobody waits any more.
        void abandon() {
            stop.request_stop();
            Error ignored;
            socket.close(ignored);
        }

        /// From now on the connection waits for its client alone, until the deadline.
        void waitForClient(std::chrono::milliseconds time) {
            isWaiting = true;
            waitingSince = Clock::now();
            deadline = waitingSince + time;
        }

        /// Slow work is stopped when its client has gone, other work when it then takes long. A client that
        /// has only closed its sending side looks the same; it still gets quick answers.
        void stopIfInVain() {
            if (!hasNoMoreToSay) return;
            if (isSlow) abandon();
            if (deadline == never) deadline = Clock::now() + listener.limits_.closingTime;
        }

        Listener& listener;
        tcp::socket socket;
        const std::list<Connection*>::iterator place;
        bool isWaiting = false;  ///< for the client, with nothing to lose but its head
        Clock::time_point waitingSince = never;
        Clock::time_point deadline = never;
        bool isSlow = false;
        bool hasNoMoreToSay = false;
        std::stop_source stop;
    };

    void listen(const tcp::endpoint& endpoint, Error& error) {
        acceptor_ = tcp::acceptor(context_);
        acceptor_.open(endpoint.protocol(), error);
        if (!error) acceptor_.set_option(tcp::acceptor::reuse_address(true), error);
        // What it accepts inherits that.
        if (!error) acceptor_.set_option(tcp::acceptor::send_buffer_size(sendBufferBytes), error);
        if (!error) acceptor_.bind(endpoint, error);
        if (!error) acceptor_.listen(tcp::acceptor::max_listen_connections, error);
        if (!error) endpoint_ = acceptor_.local_endpoint(error);
    }

    awaitable<void> acceptAll() {
        while (!isEnding_) {
            Error error;
            if (connections_.size() >= limits_.connections) {
                co_await acceptor_.async_wait(tcp::acceptor::wait_read, noting(error));
                if (isEnding_ || connections_.size() < limits_.connections) continue;
                roomChanged_.expires_at(makeRoom());
                co_await roomChanged_.async_wait(noting(error));
                continue;
            }
            tcp::socket socket(context_);
            co_await acceptor_.async_accept(socket, noting(error));
            if (!error) {
                begin(std::move(socket));
            } else if (!isEnding_) {
                // Too many open files, for one: that passes, and the client waits.
                asio::steady_timer pause(context_, 100ms);
                co_await pause.async_wait(noting(error));
            }
        }
    }

    /// Ends the connection that has waited longest for its client, or returns when it may: the head could be
    /// on the way. The connection is gone once its coroutines have noticed.
    Clock::time_point makeRoom() {
        const auto isWaiting = [](const Connection* connection) { return connection->isWaiting; };
        const auto waiting = static_cast<std::size_t>(std::ranges::count_if(connections_, isWaiting));
        if (waiting == 0) return never;
        const auto longest = std::ranges::min_element(connections_, {}, [](const Connection* connection) {
            return connection->isWaiting ? connection->waitingSince : never;
        });
        const auto next =
            (*longest)->waitingSince + (waiting < limits_.connections / 2 ? graceTime : hurriedGraceTime);
        if (Clock::now() < next) return next;
        Error error;
        if ((*longest)->socket.available(error) > 0) return Clock::now() + 1ms;
        (*longest)->abandon();
        return never;
    }

    void forget(std::list<Connection*>::iterator place) {
        connections_.erase(place);
        roomChanged_.cancel();
        if (isEnding_) deadlineTimer_.cancel();
    }

    void begin(tcp::socket socket) {
        Error error;
        socket.non_blocking(true, error);
        const auto connection = std::make_shared<Connection>(*this, std::move(socket));
        connection->waitForClient(limits_.headTime);
        asio::co_spawn(context_, serve(connection), asio::detached);
        if (connections_.size() == 1) deadlineTimer_.cancel();
    }

    awaitable<void> serve(std::shared_ptr<Connection> connection) {
        const std::optional<std::string> text = co_await readHead(*connection);
        if (!text) co_return;
        auto head = parseRequestHead(*text);
        if (!head) co_return;
        connection->isWaiting = false;
        connection->deadline = never;
        asio::co_spawn(context_, answer(connection, *std::move(head)), asio::detached);
        // Read on, although nothing more is expected: so the client's end is noticed, and what it still sends
        // does not make the system take back what was sent to it.
        Error error;
        while (!error)
            co_await receive(*connection, error);
        if (error != asio::error::eof) connection->abandon();
        connection->hasNoMoreToSay = true;
        connection->stopIfInVain();
    }

    /// Bytes up to the empty line; absent when it does not come.
    awaitable<std::optional<std::string>> readHead(Connection& connection) {
        constexpr std::string_view end = "\r\n\r\n";
        std::string text;
        while (text.size() <= mostHeadBytes) {
            Error error;
            const std::string_view received = co_await receive(connection, error);
            if (error) break;
            const std::size_t searched = text.size() - std::min(text.size(), end.size() - 1);
            text += received;
            const std::size_t found = text.find(end, searched);
            if (found == std::string::npos) continue;
            text.resize(found);
            co_return text;
        }
        co_return std::nullopt;
    }

    /// At least one byte, or an error. All connections share the memory, so the bytes must be used at once,
    /// and silent connections cost none.
    awaitable<std::string_view> receive(Connection& connection, Error& error) {
        for (;;) {
            const std::size_t count = connection.socket.read_some(asio::buffer(received_), error);
            if (error != asio::error::would_block) co_return std::string_view(received_.data(), count);
            co_await connection.socket.async_wait(tcp::socket::wait_read, noting(error));
            if (error) co_return std::string_view();
        }
    }

    awaitable<void> answer(std::shared_ptr<Connection> connection, HttpRequestHead head) {
        HttpOutput output = co_await outputFor(*connection, head);
        co_await send(*connection, output);
        Error ignored;
        connection->socket.shutdown(tcp::socket::shutdown_send, ignored);
        connection->waitForClient(limits_.closingTime);
        roomChanged_.cancel();
        if (isEnding_) connection->abandon();
    }

    awaitable<HttpOutput> outputFor(Connection& connection, const HttpRequestHead& head) {
        std::string fault;
        try {
            co_return framed(head, co_await response(connection, head));
        } catch (const std::exception& exception) {
            fault = exception.what();
        }
        source_.report(fmt::format("a request for \"{}\" failed: {}", visibleText(head.request.path), fault));
        co_return framed(head, errorResponse(head.request, 500, "Internal Server Error",
                                             "The server failed to answer this request."));
    }

    awaitable<HttpResponse> response(Connection& connection, const HttpRequestHead& head) {
        if (auto instead = access_->answerInstead(head)) co_return *std::move(instead);
        std::optional<Counted> slow;
        if (source_.isSlow(head.request)) {
            if (slowCount_ >= limits_.threads / 2) co_return busyResponse(head.request);
            slow.emplace(slowCount_);
            connection.isSlow = true;
            connection.stopIfInVain();
        }
        co_await refreshed();
        const auto handle = [&] { return source_.handle(head.request, connection.stop.get_token()); };
        co_return co_await onPool(handle);
    }

    static HttpResponse busyResponse(const HttpRequest& request) {
        HttpResponse busy = errorResponse(request, 503, "Service Unavailable",
                                          "Other searches that take long are running. Try again soon.");
        busy.extraHeaders["Retry-After"] = "5";
        return busy;
    }

    /// Returns after a refresh that began after the call. All calls that wait for its begin share it.
    awaitable<void> refreshed() {
        const auto refresh = nextRefresh_;
        ++waitingForRefresh_;
        if (!isRefreshing_) asio::co_spawn(context_, refreshWhileAsked(), asio::detached);
        isRefreshing_ = true;
        co_await refresh->wait();
    }

    awaitable<void> refreshWhileAsked() {
        while (std::exchange(waitingForRefresh_, 0) > 0) {
            const auto refresh = std::exchange(nextRefresh_, std::make_shared<Signal>(context_));
            co_await onPool(source_.refresh);
            refresh->notify();
        }
        isRefreshing_ = false;
    }

    template <typename Work>
    awaitable<std::invoke_result_t<const Work&>> onPool(const Work& work) {
        return asio::co_spawn(*pool_, performed(std::cref(work)), asio::use_awaitable);
    }

    awaitable<void> send(Connection& connection, const HttpOutput& output) {
        const std::array parts = {asio::buffer(output.head), asio::buffer(output.body)};
        bool isTaken = co_await write(connection, parts);
        std::string chunk;
        for (std::uint64_t sent = 0; isTaken && sent < output.count && output.file; sent += chunk.size()) {
            chunk.resize(std::min<std::uint64_t>(chunkBytes, output.count - sent));
            const auto read = [&] { return output.file->readAt(output.offset + sent, chunk); };
            const std::optional<std::size_t> count = co_await onPool(read);
            if (!count || *count == 0) {
                // The client gets fewer bytes than announced, and so notices.
                connection.abandon();
                co_return;
            }
            chunk.resize(*count);
            isTaken = co_await write(connection, asio::buffer(chunk));
        }
    }

    /// Whether the client has taken all, or the system for it.
    template <typename Buffers>
    awaitable<bool> write(Connection& connection, const Buffers& buffers) {
        const auto onProgress = [&](const Error& failure, std::size_t) {
            connection.deadline = Clock::now() + limits_.stallTime;
            return failure ? 0 : chunkBytes;
        };
        Error error;
        co_await asio::async_write(connection.socket, buffers, onProgress, noting(error));
        co_return !error;
    }

    /// One timer checks all connections now and then, instead of one timer for each.
    awaitable<void> keepDeadlines() {
        const auto interval = std::min({limits_.headTime, limits_.stallTime, limits_.closingTime}) / 2;
        while (!isEnding_ || !connections_.empty()) {
            deadlineTimer_.expires_at(connections_.empty() ? never : Clock::now() + interval);
            Error error;
            co_await deadlineTimer_.async_wait(noting(error));
            const auto now = Clock::now();
            const bool isOver = now >= endDeadline_;
            for (Connection* connection : connections_) {
                if (isOver || now >= connection->deadline) connection->abandon();
            }
            // A handler that does not end must not keep the process from it.
            if (isOver) setEnded();
        }
    }

    void beginEnd() {
        isEnding_ = true;
        endDeadline_ = Clock::now() + limits_.endTime;
        Error ignored;
        acceptor_.close(ignored);
        for (Connection* connection : connections_) {
            if (connection->isWaiting) connection->abandon();
        }
        roomChanged_.cancel();
        deadlineTimer_.cancel();
    }

    void setEnded() {
        hasEnded_.test_and_set();
        hasEnded_.notify_all();
    }

    const Address address_;
    const Source source_;
    const Limits limits_;
    std::optional<HttpAccess> access_;
    std::atomic_flag hasEnded_;

    asio::io_context context_{1};
    tcp::acceptor acceptor_{context_};
    tcp::endpoint endpoint_;
    asio::steady_timer deadlineTimer_{context_};
    asio::steady_timer roomChanged_{context_};  ///< cancelled when a connection has gone, or one more may
    std::list<Connection*> connections_;
    std::array<char, readBytes> received_{};
    bool isEnding_ = false;
    Clock::time_point endDeadline_ = never;
    std::size_t slowCount_ = 0;
    bool isRefreshing_ = false;
    std::size_t waitingForRefresh_ = 0;
    std::shared_ptr<Signal> nextRefresh_ = std::make_shared<Signal>(context_);
    std::optional<asio::thread_pool> pool_;
};

HttpServer::HttpServer(Address address, Source source, Limits limits)
    : listener_(std::make_unique<Listener>(std::move(address), std::move(source), limits)) {}

HttpServer::~HttpServer() = default;

std::optional<std::string> HttpServer::start() {
    return listener_->start();
}

std::uint16_t HttpServer::port() const {
    return listener_->endpoint().port();
}

bool HttpServer::isLoopback() const {
    return listener_->endpoint().address().is_loopback();
}

std::string HttpServer::pageAddress() const {
    return listener_->pageAddress();
}

void HttpServer::run() {
    listener_->run();
}

void HttpServer::stop() {
    listener_->stop();
}

}  // namespace dovra
