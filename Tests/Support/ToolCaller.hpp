#pragma once

#include <fmt/format.h>
#include <ostream>
#include <stdexcept>
#include <string>

#include "Index/Crawl.hpp"
#include "Servers/MCPRequestHandler.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {

/// How a failed test shows a value.
// NOLINTNEXTLINE(readability-identifier-naming): the name that the test library looks for
inline void PrintTo(const JSONValue& value, std::ostream* stream) {
    *stream << value.serializedString();
}

}  // namespace dovra

namespace dovra::test {

/// Calls tools through the request handler, on an index of a tree that was scanned when the object was made.
class ToolCaller {
public:
    explicit ToolCaller(const TemporaryTree& tree) : root_(tree.path()) { crawl(index_, {root_}, {}); }

    MCPRequestHandler handler() const {
        return MCPRequestHandler({index_, "dovra", "1.0.0", [this] {
                                      return IndexStats{index_.itemCount(), root_, status};
                                  }});
    }

    /// The result of a call; `arguments` is JSON text.
    JSONValue call(const std::string& tool, const std::string& arguments) const {
        return *JSONValue::parse(text(tool, arguments, false));
    }

    /// The message of a call that fails.
    std::string failure(const std::string& tool, const std::string& arguments) const {
        return text(tool, arguments, true);
    }

    IndexStatus status = {.isReady = true, .coverage = "made up"};

private:
    std::string text(const std::string& tool, const std::string& arguments, bool isError) const {
        const auto request = JSONValue::parse(fmt::format(
            R"({{"method":"tools/call","params":{{"name":"{}","arguments":{}}}}})", tool, arguments));
        const JSONValue reply = handler().handle(request.value()).value();
        const JSONObject& result = *reply.object()->find("result")->object();
        if (*result.find("isError") != JSONValue(isError))
            throw std::runtime_error("not as expected: " + reply.serializedString());
        return *(*result.find("content")->array())[0].object()->find("text")->string();
    }

    std::string root_;
    FileIndex index_;
};

/// A member of a member ... of a value that is known to have it.
inline const JSONValue& at(const JSONValue& value, std::string_view key) {
    return *value.object()->find(key);
}

/// That member of each element of an array.
inline JSONValue::Array each(const JSONValue& array, std::string_view key) {
    JSONValue::Array values;
    for (const JSONValue& element : *array.array())
        values.push_back(at(element, key));
    return values;
}

}  // namespace dovra::test
