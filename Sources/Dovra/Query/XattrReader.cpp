#include "Query/XattrReader.hpp"

#include <algorithm>
#include <string_view>

#include "Base/Utf8.hpp"
#include "Platform/ExtendedAttributes.hpp"
#include "Query/TagPropertyList.hpp"

namespace dovra {

namespace {

void addTag(std::string tag, std::vector<std::string>& tags) {
    if (std::ranges::find(tags, tag) == tags.end()) tags.push_back(std::move(tag));
}

/// An array of strings, each a tag's name, mostly with a line feed and the number of its colour behind it.
void addPropertyListTags(std::string_view document, std::vector<std::string>& tags) {
    for (const std::string& text : decodeTagPropertyList(document))
        addTag(text.substr(0, text.find('\n')), tags);
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = std::min(text.find_first_not_of(blanks), text.size());
    return text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

/// Names with commas in between, as the freedesktop.org guideline on extended attributes has it.
void addCommaSeparatedTags(const std::string& list, std::vector<std::string>& tags) {
    for (std::string_view rest = list; !rest.empty();) {
        const std::size_t length = std::min(rest.find(','), rest.size());
        const std::string_view tag = trimmed(rest.substr(0, length));
        if (!tag.empty()) addTag(repairUtf8(tag), tags);
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
}

}  // namespace

std::optional<std::string> XattrReader::read(const std::string& name, const std::string& path) {
    return readExtendedAttribute(path, "user." + name);
}

std::vector<std::string> XattrReader::userTags(const std::string& path) {
    std::vector<std::string> tags;
    if (const auto document = read("com.apple.metadata:_kMDItemUserTags", path))
        addPropertyListTags(*document, tags);
    if (const auto list = read("xdg.tags", path)) addCommaSeparatedTags(*list, tags);
    return tags;
}

}  // namespace dovra
