#pragma once

#include <algorithm>
#include <fmt/format.h>
#include <ostream>
#include <string>
#include <string_view>

#include "Index/Crawl.hpp"
#include "Servers/Tools/MCPRequestHandler.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {

/// The printed form of a value in a failed test.
// NOLINTNEXTLINE(readability-identifier-naming): the name that the test library looks for
inline void PrintTo(const JSONValue& value, std::ostream* stream) {
    *stream << value.serializedString();
}

}  // namespace dovra

namespace dovra::test {

/// The value at a place such as "content/0/text" or "results/*/name", where "*" is each element of an array;
/// null when the place does not exist.
inline JSONValue at(const JSONValue& value, std::string_view place) {
    if (place.empty()) return value;
    const std::size_t end = std::min(place.find('/'), place.size());
    const std::string_view key = place.substr(0, end);
    const std::string_view rest = place.substr(std::min(end + 1, place.size()));
    if (value.object() != nullptr) {
        const JSONValue* member = value.object()->find(key);
        return member != nullptr ? at(*member, rest) : JSONValue();
    }
    if (value.array() == nullptr) return {};
    if (key != "*") return at(value.array()->at(std::stoul(std::string(key))), rest);
    JSONValue::Array values;
    for (const JSONValue& element : *value.array())
        values.push_back(at(element, rest));
    return values;
}

/// Calls tools through the request handler, on an index of a tree that was scanned by the constructor.
class ToolCaller {
public:
    explicit ToolCaller(const TemporaryTree& tree) : root_(tree.path()) { crawl(index_, {root_}, {}); }

    MCPRequestHandler handler() const {
        return MCPRequestHandler({index_, "dovra", "1.0.0", [this] {
                                      return IndexStats{index_.itemCount(), root_, status};
                                  }});
    }

    /// The result of a call, or an object with the message as "error"; `arguments` is JSON text.
    JSONValue call(const std::string& tool, const std::string& arguments) const {
        const auto request = JSONValue::parse(fmt::format(
            R"({{"method":"tools/call","params":{{"name":"{}","arguments":{}}}}})", tool, arguments));
        const JSONValue result = at(handler().handle(request.value()).value(), "result");
        const JSONValue text = at(result, "content/0/text");
        if (at(result, "isError") == JSONValue(true)) return JSONObject{{"error", text}};
        return JSONValue::parse(*text.string()).value();
    }

    IndexStatus status = {.isReady = true, .coverage = "made up"};

private:
    std::string root_;
    FileIndex index_;
};

}  // namespace dovra::test
