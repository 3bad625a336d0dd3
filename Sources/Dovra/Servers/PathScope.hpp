#pragma once

#include <optional>
#include <string>

#include "Index/FileIndex.hpp"
#include "Query/QueryParser.hpp"
#include "Servers/ToolArguments.hpp"

namespace dovra {

/// The "within" of a call: a folder or any other piece of full paths, taken as it stands. Without one,
/// everything is in scope.
class PathScope {
public:
    explicit PathScope(const ToolArguments& arguments, bool caseSensitive = false);

    bool isGiven() const { return text_.has_value(); }

    /// A query that finds what the given one finds in scope.
    CompiledQuery narrowed(CompiledQuery query) const;

    /// For a call that found nothing: throws `ToolError` if the scope is a whole path and the index has
    /// nothing there.
    void refuseUnlessIndexed(const FileIndex& index) const;

private:
    std::optional<std::string> text_;
    bool caseSensitive_;
};

}  // namespace dovra
