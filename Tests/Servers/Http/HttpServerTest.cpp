#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <list>
#include <thread>
#include <vector>

#include "Servers/Http/HttpServer.hpp"
#include "Support/HttpClient.hpp"
#include "Support/TemporaryTree.hpp"
#include "Support/WaitUntil.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using test::HttpClient;
using test::waitUntil;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr std::string_view plainRequest = "GET /x HTTP/1.1\r\n\r\n";
constexpr std::string_view slowRequest = "GET /slow HTTP/1.1\r\n\r\n";

/// A server on a port of its own, that says what it was asked. What is asked for "/slow" or "/long" waits for
/// `release` or until it is stopped.
class RunningServer {
public:
    explicit RunningServer(HttpServer::Limits limits = {.threads = 4})
        : server_({.host = "127.0.0.1", .port = 0},
                  {.refresh = [this] { refresh(); },
                   .isSlow =
                       [this](const HttpRequest& request) {
                           ++asked;
                           return request.path == "/slow";
                       },
                   .handle = [this](const HttpRequest& request,
                                    const std::stop_token& stop) { return handle(request, stop); },
                   .report = [](const std::string&) {}},
                  limits) {
        if (const auto error = server_.start()) throw std::runtime_error(*error);
        thread_ = std::jthread([this] { server_.run(); });
    }
    ~RunningServer() {
        release = true;
        server_.stop();
    }

    std::string ask(std::string_view request) const { return HttpClient(port(), request).receive(); }
    std::uint16_t port() const { return server_.port(); }
    void stop() { server_.stop(); }

    std::function<void()> refresh = [] {};
    std::function<HttpResponse(const HttpRequest&)> answer = [](const HttpRequest& request) {
        HttpResponse response;
        response.contentType = "text/plain";
        response.body = request.method + " " + request.path;
        return response;
    };
    std::atomic<int> asked = 0;
    std::atomic<int> running = 0;
    std::atomic<int> handled = 0;
    std::atomic<int> stopped = 0;
    std::atomic<bool> release = false;

private:
    HttpResponse handle(const HttpRequest& request, const std::stop_token& stop) {
        ++running;
        if (request.path == "/slow" || request.path == "/long")
            waitUntil([&] { return release || stop.stop_requested(); });
        stopped += stop.stop_requested() ? 1 : 0;
        ++handled;
        --running;
        return answer(request);
    }

    HttpServer server_;
    std::jthread thread_;
};

HttpResponse fileResponse(const std::string& path) {
    HttpResponse response;
    response.contentType = "text/plain";
    response.file = RegularFile::open(path);
    return response;
}

TEST(HttpServer, AnswersWholeHeadsAndDropsOthers) {
    const RunningServer server({.headTime = 60s, .threads = 4});
    const std::string get = server.ask("GET /a%20b%?x HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(get, StartsWith("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 11\r\n"));
    EXPECT_THAT(get, EndsWith("\r\nConnection: close\r\n\r\nGET /a%20b%"));
    EXPECT_THAT(server.ask("HEAD /abc HTTP/1.1\r\n\r\n"), EndsWith("close\r\n\r\n"));
    // What comes behind the head changes nothing, and does not make the answer be lost.
    EXPECT_THAT(server.ask("POST / HTTP/1.1\r\n\r\n" + std::string(3'000'000, 'x')), EndsWith("POST /"));
    const HttpClient pieces(server.port());
    for (const char byte : plainRequest)
        pieces.send({&byte, 1});
    EXPECT_THAT(pieces.receive(), EndsWith("GET /x"));

    const std::string start = "GET / HTTP/1.1\r\nA: ";
    EXPECT_THAT(server.ask(start + std::string(262'140 - start.size(), 'a') + "\r\n\r\n"), EndsWith("GET /"));
    EXPECT_EQ(server.ask(start + std::string(300'000, 'a')), "");
    EXPECT_EQ(server.ask("GET /\xFF HTTP/1.1\r\n\r\n"), "");
    EXPECT_EQ(server.ask("\r\n\r\n"), "");
    EXPECT_EQ(server.ask("GET\r\n\r\n"), "");
    const HttpClient ended(server.port(), "GET / HTTP/1.1\r\n");
    ended.finish();
    EXPECT_EQ(ended.receive(), "");
}

TEST(HttpServer, SendsFilesAndTheirParts) {
    const test::TemporaryTree tree;
    std::string bytes;
    for (int i = 0; i < 300'000; ++i)
        bytes += std::to_string(i);
    const std::string path = tree.write("file", bytes);
    RunningServer server;
    server.answer = [&](const HttpRequest&) { return fileResponse(path); };
    EXPECT_THAT(server.ask(plainRequest), EndsWith("\r\n\r\n" + bytes));
    const std::string part = server.ask("GET / HTTP/1.1\r\nRange: bytes=262143-900000\r\n\r\n");
    EXPECT_THAT(part, HasSubstr("Content-Range: bytes 262143-900000/" + std::to_string(bytes.size())));
    EXPECT_THAT(part, EndsWith("\r\n\r\n" + bytes.substr(262'143, 900'001 - 262'143)));

    // A file that became shorter: less comes than was announced.
    server.answer = [&](const HttpRequest&) {
        HttpResponse response = fileResponse(path);
        std::filesystem::resize_file(path, 1000);
        return response;
    };
    EXPECT_THAT(server.ask(plainRequest), EndsWith("\r\n\r\n" + bytes.substr(0, 1000)));
}

TEST(HttpServer, SaysThatItFailed) {
    RunningServer server;
    server.answer = [](const HttpRequest&) -> HttpResponse { throw std::runtime_error("secret"); };
    EXPECT_THAT(server.ask(plainRequest), AllOf(StartsWith("HTTP/1.1 500 "), Not(HasSubstr("secret"))));
    server.answer = [](const HttpRequest&) {
        HttpResponse response;
        response.extraHeaders["A"] = "b\r\nSet-Cookie: c";
        return response;
    };
    EXPECT_THAT(server.ask(plainRequest), AllOf(StartsWith("HTTP/1.1 500 "), Not(HasSubstr("Cookie"))));
}

TEST(HttpServer, AnswersSomeWhileOthersDoNotComeToThePoint) {
    const RunningServer server({.connections = 8, .threads = 4});
    std::vector<HttpClient> idle;
    for (int i = 0; i < 40; ++i)
        idle.emplace_back(server.port(), "GET / HT");
    EXPECT_THAT(server.ask(plainRequest), EndsWith("GET /x"));
    EXPECT_EQ(idle.front().receive(), "");
}

TEST(HttpServer, HasMoreConnectionsWait) {
    RunningServer server({.connections = 8, .threads = 32});
    std::atomic<int> inside = 0;
    std::atomic<int> most = 0;
    server.answer = [&](const HttpRequest&) {
        most = std::max<int>(most, ++inside);
        std::this_thread::sleep_for(5ms);
        --inside;
        return HttpResponse{};
    };
    std::list<HttpClient> clients;
    for (int i = 0; i < 64; ++i)
        clients.emplace_back(server.port(), plainRequest);
    for (const HttpClient& client : clients)
        EXPECT_THAT(client.receive(), StartsWith("HTTP/1.1 200 "));
    EXPECT_LE(most, 8);
}

TEST(HttpServer, LosesPatience) {
    RunningServer server({.headTime = 200ms, .stallTime = 200ms, .connections = 1, .threads = 4});
    const HttpClient slow(server.port());
    std::jthread trickle([&](const std::stop_token& stop) {
        for (; !stop.stop_requested(); std::this_thread::sleep_for(1ms))
            slow.send("x");
    });
    EXPECT_EQ(slow.receive(), "");
    trickle = {};
    server.answer = [](const HttpRequest& request) {
        HttpResponse response;
        response.body = std::string(request.path == "/x" ? 1 : 50'000'000, 'x');
        return response;
    };
    const HttpClient takesNothing(server.port(), "GET /much HTTP/1.1\r\n\r\n");
    EXPECT_THAT(server.ask(plainRequest), EndsWith("\r\n\r\nx"));
}

TEST(HttpServer, BoundsSlowWorkAndStopsItForClientsThatLeave) {
    RunningServer server;
    std::list<HttpClient> clients;
    for (int i = 0; i < 2; ++i)
        clients.emplace_back(server.port(), slowRequest);
    ASSERT_TRUE(waitUntil([&] { return server.running == 2; }));
    EXPECT_THAT(server.ask(slowRequest), AllOf(StartsWith("HTTP/1.1 503 "), HasSubstr("\r\nRetry-After: ")));
    EXPECT_THAT(server.ask(plainRequest), EndsWith("GET /x"));
    clients.front().reset();
    clients.back().finish();
    EXPECT_TRUE(waitUntil([&] { return server.running == 0; }));
    EXPECT_EQ(server.stopped, 2);
    EXPECT_EQ(clients.back().receive(), "") << "what was stopped is no whole answer";

    // Who has only said all gets what is there at once.
    const HttpClient brief(server.port(), plainRequest);
    brief.finish();
    EXPECT_THAT(brief.receive(), EndsWith("GET /x"));
    EXPECT_EQ(server.stopped, 2);
}

TEST(HttpServer, StopsWhatTakesTooLongForWhoHasSaidAll) {
    RunningServer server({.closingTime = 100ms, .threads = 4});
    const HttpClient client(server.port(), "GET /long HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(waitUntil([&] { return server.running == 1; }));
    client.finish();
    EXPECT_TRUE(waitUntil([&] { return server.stopped == 1; }));
}

TEST(HttpServer, RefreshesOnceForAllThatWait) {
    RunningServer server;
    std::atomic<int> begun = 0;
    std::atomic<int> permitted = 0;
    server.refresh = [&] { waitUntil([&, number = ++begun] { return permitted >= number; }); };
    const HttpClient first(server.port(), plainRequest);
    ASSERT_TRUE(waitUntil([&] { return begun == 1; }));
    std::list<HttpClient> later;
    for (int i = 0; i < 100; ++i)
        later.emplace_back(server.port(), plainRequest);
    ASSERT_TRUE(waitUntil([&] { return server.asked == 101; }));
    permitted = 1;
    EXPECT_THAT(first.receive(), EndsWith("GET /x"));
    // They came too late for the first refresh, so one more is for all of them, and they wait for it.
    ASSERT_TRUE(waitUntil([&] { return begun == 2; }));
    EXPECT_EQ(server.handled, 1);
    permitted = 2;
    for (const HttpClient& client : later)
        EXPECT_THAT(client.receive(), EndsWith("GET /x"));
    EXPECT_EQ(begun, 2);
}

TEST(HttpServer, FinishesWhatRunsWhenItEnds) {
    RunningServer server;
    const HttpClient slow(server.port(), slowRequest);
    const HttpClient idle(server.port(), "GET");
    ASSERT_TRUE(waitUntil([&] { return server.running == 1; }));
    auto stopping = std::async(std::launch::async, [&] { server.stop(); });
    EXPECT_EQ(idle.receive(), "");
    EXPECT_THROW(HttpClient(server.port()), std::runtime_error);
    server.release = true;
    EXPECT_THAT(slow.receive(), EndsWith("GET /slow"));
    stopping.get();
    EXPECT_EQ(server.stopped, 0);
}

TEST(HttpServer, EndsInTime) {
    RunningServer server({.closingTime = 100ms, .endTime = 100ms, .threads = 4});
    const HttpClient slow(server.port(), slowRequest);
    ASSERT_TRUE(waitUntil([&] { return server.running == 1; }));
    server.stop();
    EXPECT_TRUE(waitUntil([&] { return server.stopped == 1; }));
}

}  // namespace
}  // namespace dovra
