#include <cstddef>
#include <cstdint>
#include <string>

#include "Fuzz/FuzzCheck.hpp"
#include "Servers/Tools/MCPServer.hpp"
#include "Support/IndexBuilder.hpp"

// Any line gets no reply or one that is a line of JSON: an answer of the protocol with the same identifier.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace dovra;
    // No such paths exist, so that no tool can read a file.
    static const auto index = test::makeIndex({{"/absent/a.txt", 3}, {"/absent/b.txt", 3}, "/absent/d/"});
    MCPRequestHandler handler({*index, "dovra", "1.0.0", [] {
                                   return IndexStats{3, "/", {.isReady = true}};
                               }});
    // In a version that knows all there is to say.
    handler.handle(*JSONValue::parse(R"({"method":"initialize","params":{"protocolVersion":"2025-06-18"}})"));
    const std::string line(reinterpret_cast<const char*>(data), size);
    const auto request = JSONValue::parse(line);
    fuzzCheck(!request || JSONValue::parse(request->serializedString()) == request, "JSON survives writing");
    const auto message = mcp::messageOf({.text = line});
    const auto text = message ? mcp::replyText(handler, *message) : std::nullopt;
    if (!text) return 0;
    fuzzCheck(text->find('\n') == std::string::npos && text->size() < mcp::mostReplyBytes, "one line");
    const auto reply = JSONValue::parse(*text);
    fuzzCheck(reply && reply->object() != nullptr, "an object");
    const JSONObject& members = *reply->object();
    fuzzCheck((members.find("result") == nullptr) != (members.find("error") == nullptr),
              "a result or an error");
    const JSONValue* id = request && request->object() != nullptr ? request->object()->find("id") : nullptr;
    fuzzCheck(*members.find("id") == (id != nullptr ? *id : JSONValue()), "the identifier comes back");
    return 0;
}
