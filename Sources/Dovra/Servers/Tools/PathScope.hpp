#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Query/QueryParser.hpp"
#include "Servers/Tools/Tool.hpp"

namespace dovra {

/// Whether the full path of anything in the index contains the text.
bool isInPaths(const FileIndex& index, std::string_view text);

/// The argument "within" of a call: a folder or any other piece of a full path, taken literally. Without it,
/// everything is in scope.
class PathScope {
public:
    explicit PathScope(const ToolArguments& arguments, bool caseSensitive = false);

    bool isGiven() const { return text_.has_value(); }

    /// A query that finds what the given one finds in scope.
    CompiledQuery narrowed(CompiledQuery query) const;

    /// For a call that found nothing. Throws `ToolError` if the scope is a whole path and the index holds
    /// nothing there.
    void refuseUnlessIndexed(const ToolContext& context) const;

private:
    std::optional<std::string> text_;
    bool caseSensitive_;
};

}  // namespace dovra
