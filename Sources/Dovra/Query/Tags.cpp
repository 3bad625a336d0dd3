#include "Query/Tags.hpp"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <plist/plist.h>
#include <string_view>
#include <unicode/unistr.h>

#include "Base/Utf8.hpp"
#include "Platform/ExtendedAttributes.hpp"

// The binary form is read here and not by the library. A check that makes a document safe for the library (no
// container within the array, no array that holds itself, no long string that thousands of references
// multiply) would already read it.
//
// A binary property list is a header, objects of any order, a table of their offsets and a trailer of 32
// bytes. The trailer holds the place of the table, the widths of its numbers and of references, and the top
// object. An object is a byte with its kind in the high and its count in the low four bits, then its content;
// a count of 15 means that an integer object with the true count comes first. All numbers are big-endian.

namespace dovra {

namespace {

constexpr std::size_t longestDocument = std::size_t{64} * 1024;
constexpr std::string_view binaryHeader = "bplist00";

class BinaryList {
public:
    explicit BinaryList(std::string_view document) : document_(document) {}

    /// Absent when the top object is not an array of strings or when anything points out of the document.
    std::optional<std::vector<std::string>> strings() {
        if (!readTrailer()) return std::nullopt;
        const std::optional<Object> array = object(topObject_);
        if (!array || array->kind != Kind::array) return std::nullopt;
        if (!has(array->content, array->count, referenceWidth_)) return std::nullopt;
        std::vector<std::string> strings;
        strings.reserve(array->count);
        for (std::uint64_t i = 0; i < array->count; ++i) {
            const auto reference = number(array->content + i * referenceWidth_, referenceWidth_);
            auto text = reference ? string(*reference) : std::nullopt;
            if (!text) return std::nullopt;
            strings.push_back(std::move(*text));
        }
        return strings;
    }

private:
    enum class Kind : std::uint8_t { integer = 1, asciiString = 5, utf16String = 6, array = 10 };

    struct Object {
        Kind kind;
        std::uint64_t count;
        std::uint64_t content;
    };

    bool readTrailer() {
        constexpr std::size_t trailerLength = 32;
        if (document_.size() < binaryHeader.size() + trailerLength) return false;
        const std::size_t trailer = document_.size() - trailerLength;
        offsetWidth_ = number(trailer + 6, 1).value();
        referenceWidth_ = number(trailer + 7, 1).value();
        objectCount_ = number(trailer + 8, 8).value();
        topObject_ = number(trailer + 16, 8).value();
        offsetTable_ = number(trailer + 24, 8).value();
        return isWidth(offsetWidth_) && isWidth(referenceWidth_) &&
               has(offsetTable_, objectCount_, offsetWidth_);
    }

    static bool isWidth(std::uint64_t width) { return width >= 1 && width <= sizeof(std::uint64_t); }

    /// Whether `count` items of `width` bytes from `offset` on lie within the document.
    bool has(std::uint64_t offset, std::uint64_t count, std::uint64_t width) const {
        return offset <= document_.size() && count <= (document_.size() - offset) / width;
    }

    std::optional<std::uint64_t> number(std::uint64_t offset, std::uint64_t width) const {
        if (!has(offset, 1, width)) return std::nullopt;
        std::uint64_t value = 0;
        for (const char byte : document_.substr(offset, width))
            value = value << 8 | static_cast<std::uint8_t>(byte);
        return value;
    }

    std::optional<Object> object(std::uint64_t index) const {
        if (index >= objectCount_) return std::nullopt;
        const auto offset = number(offsetTable_ + index * offsetWidth_, offsetWidth_);
        const auto marker = offset ? number(*offset, 1) : std::nullopt;
        if (!marker) return std::nullopt;
        const Object object{
            .kind = static_cast<Kind>(*marker >> 4), .count = *marker & 15, .content = *offset + 1};
        return object.count == 15 ? withLongCount(object) : object;
    }

    std::optional<Object> withLongCount(Object object) const {
        const auto marker = number(object.content, 1);
        if (!marker || static_cast<Kind>(*marker >> 4) != Kind::integer) return std::nullopt;
        const std::uint64_t power = *marker & 15;
        if (power > 3) return std::nullopt;
        const std::uint64_t width = std::uint64_t{1} << power;
        const auto count = number(object.content + 1, width);
        if (!count) return std::nullopt;
        return Object{.kind = object.kind, .count = *count, .content = object.content + 1 + width};
    }

    std::optional<std::string> string(std::uint64_t index) {
        const std::optional<Object> text = object(index);
        if (!text || (text->kind != Kind::asciiString && text->kind != Kind::utf16String))
            return std::nullopt;
        const std::uint64_t width = text->kind == Kind::asciiString ? 1 : 2;
        if (!has(text->content, text->count, width)) return std::nullopt;
        const std::string_view bytes = document_.substr(text->content, text->count * width);
        // Objects may overlap and be referred to again and again; honest documents hold each string once.
        if (bytes.size() > budget_) return std::nullopt;
        budget_ -= bytes.size();
        return width == 1 ? repairUtf8(bytes) : fromUtf16(bytes);
    }

    static std::string fromUtf16(std::string_view bytes) {
        icu::UnicodeString text;
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
            const unsigned high = static_cast<std::uint8_t>(bytes[i]);
            const unsigned low = static_cast<std::uint8_t>(bytes[i + 1]);
            text.append(static_cast<char16_t>(high << 8 | low));
        }
        std::string utf8;
        return text.toUTF8String(utf8);
    }

    std::string_view document_;
    std::uint64_t offsetWidth_ = 0;
    std::uint64_t referenceWidth_ = 0;
    std::uint64_t objectCount_ = 0;
    std::uint64_t topObject_ = 0;
    std::uint64_t offsetTable_ = 0;
    std::uint64_t budget_ = document_.size();
};

/// Whether the library, which descends into containers by recursion, finds none within the array.
bool isFlatXml(std::string_view document) {
    constexpr std::string_view array = "<array";
    const std::size_t first = document.find(array);
    return first != std::string_view::npos && document.find(array, first + 1) == std::string_view::npos &&
           document.find("<dict") == std::string_view::npos;
}

struct NodeRelease {
    void operator()(void* node) const { plist_free(node); }
};

std::optional<std::vector<std::string>> xmlStrings(std::string_view document) {
    if (!isFlatXml(document)) return std::nullopt;
    plist_t root = nullptr;
    plist_from_xml(document.data(), static_cast<std::uint32_t>(document.size()), &root);
    const std::unique_ptr<void, NodeRelease> owner(root);
    if (root == nullptr || plist_get_node_type(root) != PLIST_ARRAY) return std::nullopt;
    std::vector<std::string> strings;
    for (std::uint32_t i = 0; i < plist_array_get_size(root); ++i) {
        const plist_t item = plist_array_get_item(root, i);
        if (plist_get_node_type(item) != PLIST_STRING) return std::nullopt;
        std::uint64_t length = 0;
        const char* text = plist_get_string_ptr(item, &length);
        strings.push_back(repairUtf8({text, length}));
    }
    return strings;
}

}  // namespace

std::vector<std::string> decodeTagPropertyList(std::string_view document) {
    if (document.size() > longestDocument) return {};
    auto strings = document.starts_with(binaryHeader) ? BinaryList(document).strings() : xmlStrings(document);
    return std::move(strings).value_or(std::vector<std::string>());
}

namespace {

void addTag(std::string tag, std::vector<std::string>& tags) {
    if (std::ranges::find(tags, tag) == tags.end()) tags.push_back(std::move(tag));
}

/// Adds tags from an array of names, mostly followed by a line feed and the number of a colour.
void addPropertyListTags(std::string_view document, std::vector<std::string>& tags) {
    for (const std::string& text : decodeTagPropertyList(document))
        addTag(text.substr(0, text.find('\n')), tags);
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = std::min(text.find_first_not_of(blanks), text.size());
    return text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

/// Adds names separated by commas, the form of the freedesktop.org guideline on extended attributes.
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

// Both sides are in lower case already, but may encode accented letters in different ways.
TagMatcher::TagMatcher(std::string needle) : needle_(std::move(needle)), search_(needle_, true) {}

bool TagMatcher::matchesFile(const std::string& path) const {
    return std::ranges::any_of(XattrReader::userTags(path),
                               [this](const std::string& tag) { return search_.foundIn(lowercased(tag)); });
}

}  // namespace dovra
