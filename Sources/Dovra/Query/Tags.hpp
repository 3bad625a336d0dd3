#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/TextNeedle.hpp"

namespace dovra {

/// The strings of a property list, binary or XML, that is an array of strings, repaired to well-formed UTF-8.
/// Empty when `document` is of any other shape, damaged or longer than 64 KiB. The bytes are untrusted, so
/// the cost is linear in their number, and nothing recurses.
std::vector<std::string> decodeTagPropertyList(std::string_view document);

/// Reads the attributes that users and programs attached to a file. Stateless; safe from any thread.
struct XattrReader {
    /// The bytes of the attribute `name` of the "user." namespace; absent when it cannot be read.
    static std::optional<std::string> read(const std::string& name, const std::string& path);

    /// The names of the file's tags, each once. The tags of files from other systems come first, then the
    /// tags that this desktop's own programs write. Empty when nothing can be read.
    static std::vector<std::string> userTags(const std::string& path);
};

/// Tests whether one of a file's tags contains a text, without regard to case. Each test reads the disk.
/// Immutable; safe from any thread.
class TagMatcher {
public:
    /// `needle` is in lower case. The empty needle matches every file that has a tag.
    explicit TagMatcher(std::string needle);

    bool matchesFile(const std::string& path) const;

    const std::string& needle() const { return needle_; }

private:
    std::string needle_;
    UnicodeNeedle search_;
};

}  // namespace dovra
