#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Base/JSONValue.hpp"

namespace dovra {

/// Reads the arguments of a tool call by the rules that all tools share. An argument of the wrong type counts
/// as missing. A view: the object must outlive it.
class ToolArguments {
public:
    explicit ToolArguments(const JSONObject& object) : object_(object) {}

    /// A string without the white space around it; absent when nothing is left.
    std::optional<std::string> text(std::string_view key) const;

    /// Whether it is `true`.
    bool flag(std::string_view key) const;

    struct Range {
        std::int64_t usual;  ///< when no number is given
        std::int64_t least;
        std::int64_t most;
    };

    /// The whole number, or the nearest one in the range. Fractions are cut off.
    std::int64_t number(std::string_view key, Range range) const;

private:
    const JSONObject& object_;
};

/// Turns a list such as ".SWIFT ; ts,," into the query language's form "swift;ts". May be empty.
std::string normalizeExtensions(std::string_view text);

/// The path or piece of a path that a client means. One that begins with "/" or with the user's own "~" is
/// standardised; any other is unchanged.
std::string expandedPath(std::string_view text);

}  // namespace dovra
