#include <algorithm>
#include <chrono>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Servers/Tools/MCPServer.hpp"
#include "Servers/Tools/RequestQueue.hpp"
#include "Support/ToolCaller.hpp"

namespace dovra {
namespace {

using test::at;
using testing::HasSubstr;

class MCPServer : public testing::Test {
protected:
    std::string reply(std::string line) const {
        const auto message = mcp::messageOf({.text = std::move(line)});
        const test::ToolCaller caller(tree_);
        MCPRequestHandler handler = caller.handler();
        return message ? mcp::replyText(handler, *message).value_or("none") : "none";
    }

    test::TemporaryTree tree_;
};

std::string callOf(const std::string& tool, int id = 1) {
    return fmt::format(R"({{"id":{},"method":"tools/call","params":{{"name":"{}"}}}})", id, tool) + "\n";
}

TEST_F(MCPServer, AnswersFaultsOfTheProtocol) {
    const auto error = [](const std::string& id, int code, const std::string& message) {
        return fmt::format(R"({{"jsonrpc":"2.0","id":{},"error":{{"code":{},"message":"{}"}}}})", id, code,
                           message);
    };
    const struct {
        std::string line;
        std::string reply;
    } examples[] = {
        {"", "none"},
        {"{", error("null", -32700, "Parse error")},
        {"{\"id\":1,\"method\":\"\xFF\"}", error("null", -32700, "Parse error")},
        {std::string(100'000, '['), error("null", -32700, "Parse error")},
        {"[]", error("null", -32600, "Invalid Request: not an object")},
        {R"([{"id":1,"method":"ping"}])", error("null", -32600, "Invalid Request: not an object")},
        {R"({"id":[1,{"a":2.5}]})", error(R"([1,{"a":2.5}])", -32600, "Invalid Request: missing method")},
        {R"({"id":"x","method":7})", error(R"("x")", -32600, "Invalid Request: missing method")},
        {R"({"id":1.5,"method":"no"})", error("1.5", -32601, "Method not found: no")},
        {R"({"id":18446744073709551616,"method":"PING"})",
         error("1.8446744073709552e+19", -32601, "Method not found: PING")},
        {R"({"id":1,"method":"tools/call"})", error("1", -32602, "Invalid params: missing tool name")},
        {R"({"id":1,"method":"tools/call","params":{"name":null}})",
         error("1", -32602, "Invalid params: missing tool name")},
        {R"({"id":1,"method":"tools/call","params":{"name":"rm"}})", error("1", -32602, "Unknown tool: rm")},
        {R"({"id":1,"id":2,"method":"no","method":"ping"})", R"({"jsonrpc":"2.0","id":2,"result":{}})"},
        {R"({"id":-9223372036854775808,"method":"ping","params":7})",
         R"({"jsonrpc":"2.0","id":-9223372036854775808,"result":{}})"},
        {"{\"method\":\"ping\"}\r", R"({"jsonrpc":"2.0","id":null,"result":{}})"},
        {R"({"id":1,"method":"notifications/initialized"})", "none"},
        {R"({"id":1,"method":"notifications"})", error("1", -32601, "Method not found: notifications")},
    };
    for (const auto& [line, expected] : examples)
        EXPECT_EQ(reply(line), expected) << line.substr(0, 100);
}

TEST_F(MCPServer, GreetsInTheClientsVersionAndListsItsTools) {
    const auto result = [&](const std::string& method, const std::string& params, const char* place) {
        const auto message =
            JSONValue::parse(reply(R"({"id":1,"method":")" + method + R"(","params":)" + params + "}"));
        return at(at(*message, "result"), place);
    };
    const char* const version = R"({"protocolVersion":"any"})";
    EXPECT_EQ(result("initialize", version, "protocolVersion"), "any");
    EXPECT_EQ(result("initialize", version, "capabilities/tools"), (JSONObject{{"listChanged", false}}));
    EXPECT_EQ(result("initialize", version, "serverInfo"),
              (JSONObject{{"name", "dovra"}, {"version", "1.0.0"}}));
    EXPECT_THAT(*result("initialize", version, "instructions").string(), HasSubstr("read-only"));
    for (const char* params : {"{}", R"({"protocolVersion":""})", R"({"protocolVersion":1})", "null", "[1]"})
        EXPECT_EQ(result("initialize", params, "protocolVersion"), "2024-11-05") << params;
    EXPECT_EQ(result("tools/list", "{}", "tools/*/name"),
              (JSONValue::Array{"search_files", "search_content", "find_duplicate_files", "disk_usage",
                                "index_stats"}));
}

TEST_F(MCPServer, RefusesWhatIsTooLongAndPutsSomethingShortInPlaceOfAReplyThatWouldBe) {
    EXPECT_THAT(mcp::messageOf({.text = {}, .isTooLong = true})->value.serializedString(),
                HasSubstr(R"("id":null,"error":{"code":-32600)"));
    const std::string large(mcp::mostReplyBytes, 'x');
    for (const char* beginning :
         {R"({"id":1,"method":")", R"({"method":"tools/call","params":{"name":"index_stats"},"id":")"})
        EXPECT_THAT(reply(beginning + large + "\"}"), HasSubstr(R"("id":null,"error":{"code":-32600)"));

    // Twenty names of 255 bytes. Each byte is written with six, in a result that is quoted once more.
    const std::string name(250, '\x01');
    for (int i = 0; i < 960; ++i)
        tree_.write(fmt::format("{}/{}/{}/{}{}", i % 8, name, name, name, i));
    const std::string call = R"({"id":7,"method":"tools/call","params":{"name":)";
    const std::string answer = reply(call + R"("search_files","arguments":{"query":"*","limit":1000}}})");
    EXPECT_LT(answer.size(), 1000U);
    for (const char* part : {R"("id":7,"result":{"content")", "too long", R"("isError":true)"})
        EXPECT_THAT(answer, HasSubstr(part));
    const std::string path =
        call + R"("index_stats","arguments":{"path":")" + std::string(mostArgumentBytes, 'x');
    EXPECT_THAT(reply(path + "\"}}}"), HasSubstr(R"("isError":false)"));
    EXPECT_THAT(reply(path + "x\"}}}"), HasSubstr("`path` is longer than 1000000 bytes."));
}

TEST_F(MCPServer, CallsAFaultOfItsOwnAnInternalError) {
    const FileIndex index;
    MCPRequestHandler handler({index, "", "", {}}, [](auto&, auto&) { throw std::runtime_error("made up"); });
    EXPECT_EQ(mcp::replyText(handler, *mcp::messageOf({.text = callOf("disk_usage")})),
              R"({"jsonrpc":"2.0","id":1,"result":{"content":[{"type":"text","text":"Internal error"}],)"
              R"("isError":true}})");
}

/// A service whose first scan ends after so many waits. A flush shows it that a file is missing; then it may
/// have to be waited for again.
class SlowIndex final : public IndexService {
public:
    explicit SlowIndex(int waits, int waitsAfterFlush = 0)
        : waits_(waits), waitsAfterFlush_(waitsAfterFlush) {}

    void start(std::function<void()>) override {}
    bool waitUntilReady(std::chrono::milliseconds patience) override {
        if (--waits_ >= 0) {
            std::this_thread::sleep_for(patience);
            return false;
        }
        if (!std::exchange(hasFlushed_, false)) return true;
        index_.reset();
        crawl(index_, {root_}, {});
        return true;
    }
    bool flush(std::chrono::milliseconds) override {
        tree_.write("late");
        hasFlushed_ = true;
        waits_ = waitsAfterFlush_;
        return waits_ == 0;
    }
    IndexStatus status() const override { return {}; }
    const FileIndex& index() const override { return index_; }
    const std::string& root() const override { return root_; }
    bool hasFlushed() const { return hasFlushed_; }

private:
    int waits_;
    int waitsAfterFlush_;
    bool hasFlushed_ = false;
    const test::TemporaryTree tree_;
    FileIndex index_;
    std::string root_ = tree_.path();
};

TEST(RequestQueue, ForgetsTheBytesOfWhatIsDropped) {
    RequestQueue queue;
    queue.push({}, 1);
    queue.push({.value = {}, .isReply = true}, 2);
    queue.cancel([](const Message& message) { return message.isReply; });
    EXPECT_EQ(queue.state().bytes, 1U);
}

/// A session with these bytes as its input.
struct Session {
    /// The output of the session. `readerStays` answers each question whether the output is still read.
    std::vector<std::string> lines(IndexService& service, const std::function<bool()>& readerStays) {
        std::vector<std::string> written;
        const auto read = [this](std::span<char> destination) {
            const std::size_t count = unread.copy(destination.data(), destination.size(), bytesRead);
            bytesRead += count;
            return count;
        };
        const auto write = [&](std::string_view line) { return !written.emplace_back(line).empty(); };
        mcp::serve(service, {[](auto) { return true; }, read, write, readerStays});
        return written;
    }

    std::string unread;
    std::size_t bytesRead = 0;
};

bool stays() {
    return true;
}

TEST(MCPServerLoop, WaitsForTheFirstScanAlsoAfterTheEndOfInputAndForWhatAFlushFinds) {
    for (const int waitsAfterFlush : {0, 3}) {
        SlowIndex service(3, waitsAfterFlush);
        const auto lines = Session{callOf("disk_usage") + callOf("disk_usage")}.lines(service, stays);
        const auto hasLateFile = HasSubstr(R"(\"files\":1)");
        EXPECT_THAT(lines, testing::ElementsAre(hasLateFile, hasLateFile)) << waitsAfterFlush;
    }
}

TEST(MCPServerLoop, HoldsOnlySoMuchOfWhatWaitsAndGivesUpWhenNobodyIsLeftToReadTheReply) {
    SlowIndex service(100);
    Session session{callOf("disk_usage")};
    while (session.unread.size() < 4 * mcp::mostBytesAhead)
        session.unread += callOf("index_stats");
    int looks = 0;
    EXPECT_THAT(session.lines(service, [&] { return ++looks < 25; }), testing::IsEmpty());
    looks = 20;
    EXPECT_THAT(Session{callOf("disk_usage")}.lines(service, [&] { return ++looks < 25; }),
                testing::IsEmpty());
    EXPECT_GT(session.bytesRead, mcp::mostBytesAhead / 2);
    EXPECT_LT(session.bytesRead, mcp::mostBytesAhead * 5 / 4);
}

TEST(MCPServerLoop, AReportDoesNotWaitForTheFirstScanAndACallThatIsCancelledGetsNoReply) {
    SlowIndex service(20);
    std::string input = callOf("disk_usage", 1) + callOf("index_stats", 2) + callOf("disk_usage", 3) +
                        callOf("index_stats", 4);
    for (const int id : {4, 3, 1, 9})
        input +=
            fmt::format(R"({{"method":"notifications/cancelled","params":{{"requestId":{}}}}})", id) + "\n";
    EXPECT_THAT(Session{input}.lines(service, stays),
                testing::ElementsAre(AllOf(HasSubstr("\"id\":2"), HasSubstr(R"("isError":false)"))));
    EXPECT_FALSE(service.hasFlushed()) << "which it would have after its first scan";
}

/// The answers to a client of that version that lists the tools and calls one.
std::vector<JSONValue> toldTo(const test::ToolCaller& caller, const std::string& version) {
    MCPRequestHandler handler = caller.handler();
    std::vector<JSONValue> told;
    const Exchange exchange{{}, [&](const JSONValue& notification) { told.push_back(notification); }};
    handler.handle(
        *JSONValue::parse(R"({"method":"initialize","params":{"protocolVersion":")" + version + "\"}}"),
        exchange);
    for (
        const char* line :
        {R"({"method":"tools/list"})",
         R"({"method":"tools/call","params":{"name":"search_content","_meta":{"progressToken":"t"},"arguments":{"query":"1","ext":"x"}}})"})
        told.push_back(at(*handler.handle(*JSONValue::parse(line), exchange), "result"));
    return told;
}

TEST_F(MCPServer, TellsClientsWhatTheirVersionKnows) {
    tree_.write("a.x", "1");
    const test::ToolCaller caller(tree_);
    const std::vector<JSONValue> first = toldTo(caller, "2024-11-05");
    ASSERT_EQ(first.size(), 2U);
    EXPECT_EQ(at(first[0], "tools/1").object()->members().size(), 3U);
    EXPECT_EQ(first[1].object()->members().size(), 2U);
    EXPECT_EQ(toldTo(caller, "later"), first);

    const std::vector<JSONValue> second = toldTo(caller, "2025-03-26");
    ASSERT_EQ(second.size(), 3U);
    EXPECT_EQ(at(second[0], "tools/1").object()->members().size(), 4U);
    EXPECT_EQ(at(second[0], "tools/1/annotations").serializedString(),
              R"({"title":"Search file contents","readOnlyHint":true,"openWorldHint":false})");
    EXPECT_EQ(second[1].serializedString(), R"({"jsonrpc":"2.0","method":"notifications/progress",)"
                                            R"("params":{"progressToken":"t","progress":0,"total":1}})");
    EXPECT_EQ(second[2], first[1]);

    const std::vector<JSONValue> third = toldTo(caller, "2025-06-18");
    ASSERT_EQ(third.size(), 3U);
    EXPECT_EQ(at(third[0], "tools/1/outputSchema/type"), "object");
    EXPECT_EQ(at(third[2], "structuredContent"), *JSONValue::parse(*at(third[2], "content/0/text").string()));
}

}  // namespace
}  // namespace dovra
