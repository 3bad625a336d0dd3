#include "Servers/Tools/ToolArguments.hpp"

#include <algorithm>

#include "Base/TextNeedle.hpp"
#include "Base/Utf8.hpp"
#include "Platform/Paths.hpp"

namespace dovra {

namespace {

std::optional<std::int64_t> wholeNumber(const JSONValue& value) {
    if (const std::int64_t* integer = value.integer()) return *integer;
    constexpr double end = 0x1p63;
    const double* floating = value.floating();
    const bool fits = floating != nullptr && *floating >= -end && *floating < end;
    if (!fits) return std::nullopt;
    return static_cast<std::int64_t>(*floating);
}

}  // namespace

std::optional<std::string> ToolArguments::text(std::string_view key) const {
    const JSONValue* value = object_.find(key);
    if (value == nullptr || value->string() == nullptr) return std::nullopt;
    const std::string_view trimmed = trimmedWhiteSpace(*value->string());
    return trimmed.empty() ? std::nullopt : std::optional(std::string(trimmed));
}

bool ToolArguments::flag(std::string_view key) const {
    const JSONValue* value = object_.find(key);
    return value != nullptr && value->boolean() != nullptr && *value->boolean();
}

std::int64_t ToolArguments::number(std::string_view key, Range range) const {
    const JSONValue* value = object_.find(key);
    const auto given = value != nullptr ? wholeNumber(*value) : std::nullopt;
    return std::clamp(given.value_or(range.usual), range.least, range.most);
}

std::string normalizeExtensions(std::string_view text) {
    std::string list;
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, text.find_first_of(";,"));
        text.remove_prefix(std::min(piece.size() + 1, text.size()));
        std::string_view extension = trimmedWhiteSpace(piece);
        if (extension.starts_with('.')) extension.remove_prefix(1);
        if (extension.empty()) continue;
        if (!list.empty()) list += ';';
        list += lowercased(extension);
    }
    return list;
}

std::string expandedPath(std::string_view text) {
    const bool isAbsolute = text.starts_with('/') || text == "~" || text.starts_with("~/");
    return isAbsolute ? standardizedPath(text).value_or(std::string(text)) : std::string(text);
}

}  // namespace dovra
