#include "Servers/PathScope.hpp"

#include <fmt/format.h>
#include <utility>

#include "Query/SearchEngine.hpp"
#include "Servers/Tool.hpp"

namespace dovra {

PathScope::PathScope(const ToolArguments& arguments, bool caseSensitive)
    : text_(arguments.text("within")), caseSensitive_(caseSensitive) {
    if (text_) text_ = expandedPath(*text_);
}

CompiledQuery PathScope::narrowed(CompiledQuery query) const {
    return text_ ? narrowedToPath(std::move(query), *text_, caseSensitive_) : query;
}

void PathScope::refuseUnlessIndexed(const FileIndex& index) const {
    if (!text_ || !text_->starts_with('/')) return;
    if (search(index, narrowed(QueryParser::parse("")), {}, 0).total > 0) return;
    throw ToolError{fmt::format("`within`: nothing in the index has \"{}\" in its path.", *text_)};
}

}  // namespace dovra
