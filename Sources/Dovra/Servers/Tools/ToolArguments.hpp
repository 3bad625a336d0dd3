#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Base/JSONValue.hpp"

namespace dovra {

/// Reads the arguments of a tool call by the rules that all tools share: whatever has the wrong type counts
/// as not given. The object outlives this view of it.
class ToolArguments {
public:
    explicit ToolArguments(const JSONObject& object) : object_(object) {}

    /// A string without the white space at its ends; absent when nothing is left.
    std::optional<std::string> text(std::string_view key) const;

    /// Whether it is `true`.
    bool flag(std::string_view key) const;

    struct Range {
        std::int64_t usual;  ///< when no number is given
        std::int64_t least;
        std::int64_t most;
    };

    /// The nearest number of the range. Fractions are cut off.
    std::int64_t number(std::string_view key, Range range) const;

private:
    const JSONObject& object_;
};

/// A list such as ".SWIFT ; ts,," as the query language takes it: "swift;ts". Empty when it names none.
std::string normalizeExtensions(std::string_view text);

/// What is meant by a folder or a piece of a path: standardised when it begins with "/" or the user's own
/// "~", as it is otherwise.
std::string expandedPath(std::string_view text);

}  // namespace dovra
