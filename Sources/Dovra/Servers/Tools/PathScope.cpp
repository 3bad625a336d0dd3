#include "Servers/Tools/PathScope.hpp"

#include <fmt/format.h>
#include <utility>

#include "Query/SearchEngine.hpp"

namespace dovra {

bool isInPaths(const FileIndex& index, std::string_view text) {
    return search(index, narrowedToPath(QueryParser::parse(""), text, false), {}, 0).total > 0;
}

PathScope::PathScope(const ToolArguments& arguments, bool caseSensitive)
    : text_(arguments.text("within")), caseSensitive_(caseSensitive) {
    if (text_) text_ = expandedPath(*text_);
}

CompiledQuery PathScope::narrowed(CompiledQuery query) const {
    return text_ ? narrowedToPath(std::move(query), *text_, caseSensitive_) : query;
}

void PathScope::refuseUnlessIndexed(const ToolContext& context) const {
    if (!text_ || !text_->starts_with('/') || isInPaths(context.index, *text_)) return;
    throw ToolError{
        fmt::format("`within`: nothing in the index, which holds what lies below {}, has \"{}\" in its path.",
                    context.statsProvider().root, *text_)};
}

}  // namespace dovra
