#include <algorithm>
#include <chrono>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "Servers/MCPServer.hpp"
#include "Support/ToolCaller.hpp"

namespace dovra {
namespace {

using test::at;
using testing::HasSubstr;

class MCPServer : public testing::Test {
protected:
    std::string reply(std::string line) const {
        const auto message = mcp::messageOf({.text = std::move(line)});
        MCPRequestHandler handler = caller_.handler();
        return message ? mcp::replyText(handler, *message).value_or("none") : "none";
    }

    test::TemporaryTree tree_;
    test::ToolCaller caller_{tree_};
};

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
    const auto result = [&](const std::string& method, const std::string& params) {
        return at(
            *JSONValue::parse(reply(R"({"id":1,"method":")" + method + R"(","params":)" + params + "}")),
            "result");
    };
    const JSONValue greeting = result("initialize", R"({"protocolVersion":"any"})");
    EXPECT_EQ(at(greeting, "protocolVersion"), "any");
    EXPECT_EQ(at(greeting, "capabilities"), *JSONValue::parse(R"({"tools":{"listChanged":false}})"));
    EXPECT_EQ(at(greeting, "serverInfo"), *JSONValue::parse(R"({"name":"dovra","version":"1.0.0"})"));
    EXPECT_THAT(*at(greeting, "instructions").string(), HasSubstr("read-only"));
    for (const char* params : {"{}", R"({"protocolVersion":""})", R"({"protocolVersion":1})", "null", "[1]"})
        EXPECT_EQ(at(result("initialize", params), "protocolVersion"), "2024-11-05") << params;
    EXPECT_EQ(test::each(at(result("tools/list", "{}"), "tools"), "name"),
              (JSONValue::Array{"search_files", "search_content", "find_duplicate_files", "disk_usage",
                                "index_stats"}));
}

TEST_F(MCPServer, PutsSomethingShortInPlaceOfAReplyThatIsTooLong) {
    EXPECT_THAT(mcp::messageOf({.text = {}, .isTooLong = true})->value.serializedString(),
                HasSubstr(R"("id":null,"error":{"code":-32600)"));
    const std::string large(mcp::mostReplyBytes, 'x');
    for (const char* beginning :
         {R"({"id":1,"method":")", R"({"method":"tools/call","params":{"name":"index_stats"},"id":")"})
        EXPECT_THAT(reply(beginning + large + "\"}"), HasSubstr(R"("id":null,"error":{"code":-32600)"));

    // Twenty names of 255 bytes that are written with six bytes each, in a result that is quoted once more.
    const std::string name(250, '\x01');
    for (int folder = 0; folder < 8; ++folder) {
        for (int i = 0; i < 120; ++i)
            tree_.write(fmt::format("{}/{}/{}/{}{}", folder, name, name, name, i));
    }
    const test::ToolCaller caller(tree_);
    MCPRequestHandler filled = caller.handler();
    const std::string call =
        R"({"id":7,"method":"tools/call","params":{"name":"search_files","arguments":{"query":"*","limit":1000}}})";
    const std::string answer = *mcp::replyText(filled, *mcp::messageOf({.text = call}));
    EXPECT_LT(answer.size(), 1000U);
    for (const char* part : {R"("id":7,"result":{"content")", "too long", R"("isError":true)"})
        EXPECT_THAT(answer, HasSubstr(part));
}

TEST_F(MCPServer, RefusesLongTextsForTools) {
    const auto callWith = [&](std::size_t bytes) {
        return reply(R"({"id":1,"method":"tools/call","params":{"name":"index_stats","arguments":{"path":")" +
                     std::string(bytes, 'x') + R"("}}})");
    };
    EXPECT_THAT(callWith(mostArgumentBytes), HasSubstr(R"("isError":false)"));
    EXPECT_THAT(callWith(mostArgumentBytes + 1),
                HasSubstr(R"("text":"`path` is longer than 1000000 bytes."}],"isError":true)"));
}

TEST_F(MCPServer, PreparesTheIndexForTheTool) {
    std::vector<std::string> prepared;
    FileIndex index;
    MCPRequestHandler handler({index, "", "", [] { return IndexStats(); }}, [&](const Tool& tool, auto&) {
        prepared.push_back(tool.name);
        if (tool.needsWholeIndex) throw std::runtime_error("made up");
    });
    const auto call = [&](const std::string& tool) {
        const std::string line = R"({"id":1,"method":"tools/call","params":{"name":")" + tool + R"("}})";
        return *mcp::replyText(handler, *mcp::messageOf({.text = line}));
    };
    EXPECT_EQ(call("disk_usage"), R"({"jsonrpc":"2.0","id":1,"result":{"content":[{"type":"text",)"
                                  R"("text":"Internal error"}],"isError":true}})");
    EXPECT_THAT(call("index_stats"), HasSubstr(R"("isError":false)"));
    EXPECT_THAT(prepared, testing::ElementsAre("disk_usage", "index_stats"));
}

/// One whose first scan ends only after it has been waited for so many times. It finds out with a flush that
/// it lacks a file, and may have to be waited for again.
class SlowIndex final : public IndexService {
public:
    explicit SlowIndex(int waits, int waitsAfterFlush = 0)
        : waits_(waits), waitsAfterFlush_(waitsAfterFlush) {}

    void start(std::function<void()>) override {}
    bool waitUntilReady(std::chrono::milliseconds) override {
        if (--waits_ >= 0) return false;
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

private:
    int waits_;
    int waitsAfterFlush_;
    bool hasFlushed_ = false;
    const test::TemporaryTree tree_;
    FileIndex index_;
    std::string root_ = tree_.path();
};

/// What a session that is given these bytes writes; each time the reader is looked for, `readerStays` may
/// answer that it has left. Adds up how much is read.
std::vector<std::string> linesWritten(IndexService& service, std::string unread,
                                      const std::function<bool()>& readerStays,
                                      std::size_t* bytesRead = nullptr) {
    std::vector<std::string> lines;
    mcp::serve(service, {.waitForInput = [](auto) { return true; },
                         .read =
                             [&](std::span<char> destination) {
                                 const std::size_t count = std::min(unread.size(), destination.size());
                                 std::ranges::copy_n(unread.begin(), static_cast<std::ptrdiff_t>(count),
                                                     destination.begin());
                                 unread.erase(0, count);
                                 if (bytesRead != nullptr) *bytesRead += count;
                                 return count;
                             },
                         .write =
                             [&](std::string_view line) {
                                 lines.emplace_back(line);
                                 return true;
                             },
                         .isRead = readerStays});
    return lines;
}

std::string callOf(const std::string& tool, int id = 1) {
    return fmt::format(R"({{"id":{},"method":"tools/call","params":{{"name":"{}"}}}})", id, tool) + "\n";
}

TEST(MCPServerLoop, WaitsForTheFirstScanAlsoAfterTheEndOfInputAndForWhatAFlushFinds) {
    for (const int waitsAfterFlush : {0, 3}) {
        SlowIndex service(100, waitsAfterFlush);
        const auto lines =
            linesWritten(service, callOf("disk_usage") + callOf("disk_usage"), [] { return true; });
        const auto hasLateFile = HasSubstr(R"(\"files\":1)");
        EXPECT_THAT(lines, testing::ElementsAre(hasLateFile, hasLateFile)) << waitsAfterFlush;
    }
}

TEST(MCPServerLoop, AReportDoesNotWaitForTheFirstScan) {
    SlowIndex service(std::numeric_limits<int>::max());
    EXPECT_THAT(linesWritten(service, callOf("index_stats"), [] { return true; }),
                testing::ElementsAre(HasSubstr(R"("isError":false)")));
}

TEST(MCPServerLoop, HoldsOnlySoMuchOfWhatWaitsAndGivesUpWhenNobodyIsLeftToReadTheReply) {
    SlowIndex service(std::numeric_limits<int>::max());
    std::string unread = callOf("disk_usage");
    while (unread.size() < 4 * mcp::mostBytesAhead)
        unread += callOf("index_stats");
    std::size_t bytesRead = 0;
    int looks = 0;
    EXPECT_THAT(linesWritten(
                    service, unread, [&] { return ++looks < 25; }, &bytesRead),
                testing::IsEmpty());
    EXPECT_GT(bytesRead, mcp::mostBytesAhead / 2);
    EXPECT_LT(bytesRead, 2 * mcp::mostBytesAhead);
}

TEST(MCPServerLoop, GivesNoReplyToACallThatIsCancelled) {
    SlowIndex service(std::numeric_limits<int>::max());
    const auto cancel = [](int id) {
        return fmt::format(R"({{"method":"notifications/cancelled","params":{{"requestId":{}}}}})", id) +
               "\n";
    };
    EXPECT_THAT(linesWritten(service,
                             callOf("disk_usage", 1) + callOf("index_stats", 2) + callOf("disk_usage", 3) +
                                 callOf("index_stats", 4) + cancel(4) + cancel(3) + cancel(1) + cancel(9),
                             [] { return true; }),
                testing::ElementsAre(HasSubstr("\"id\":2")));
}

/// What a client of that version is told, beside its greeting, when it lists the tools and calls one.
std::vector<JSONValue> toldTo(test::ToolCaller& caller, const std::string& version) {
    MCPRequestHandler handler = caller.handler();
    std::vector<JSONValue> told;
    const Exchange exchange{{}, [&](const JSONValue& notification) { told.push_back(notification); }};
    for (const std::string& line :
         {R"({"method":"initialize","params":{"protocolVersion":")" + version + "\"}}",
          std::string(R"({"method":"tools/list"})"),
          std::string(
              R"({"method":"tools/call","params":{"name":"search_content","_meta":{"progressToken":"t"},)"
              R"("arguments":{"query":"1","ext":"x"}}})")})
        told.push_back(test::at(*handler.handle(*JSONValue::parse(line), exchange), "result"));
    told.erase(told.begin());
    return told;
}

TEST_F(MCPServer, TellsClientsWhatTheirVersionKnows) {
    tree_.write("a.x", "1");
    test::ToolCaller caller(tree_);
    const std::vector<JSONValue> first = toldTo(caller, "2024-11-05");
    ASSERT_EQ(first.size(), 2U);
    EXPECT_EQ(test::at(first[0], "tools").array()->at(1).object()->members().size(), 3U);
    EXPECT_EQ(first[1].object()->members().size(), 2U);
    EXPECT_EQ(toldTo(caller, "later"), first);

    const std::vector<JSONValue> second = toldTo(caller, "2025-03-26");
    ASSERT_EQ(second.size(), 3U);
    const JSONValue& tool = test::at(second[0], "tools").array()->at(1);
    EXPECT_EQ(tool.object()->members().size(), 4U);
    EXPECT_EQ(test::at(tool, "annotations").serializedString(),
              R"({"title":"Search file contents","readOnlyHint":true,"openWorldHint":false})");
    EXPECT_EQ(second[1].serializedString(), R"({"jsonrpc":"2.0","method":"notifications/progress",)"
                                            R"("params":{"progressToken":"t","progress":0,"total":1}})");
    EXPECT_EQ(second[2], first[1]);

    const std::vector<JSONValue> third = toldTo(caller, "2025-06-18");
    ASSERT_EQ(third.size(), 3U);
    EXPECT_EQ(test::at(test::at(third[0], "tools").array()->at(1), "outputSchema").kind(),
              JSONValue::Kind::object);
    EXPECT_EQ(test::at(third[2], "structuredContent"),
              *JSONValue::parse(*test::at(test::at(third[2], "content").array()->at(0), "text").string()));
}

}  // namespace
}  // namespace dovra
