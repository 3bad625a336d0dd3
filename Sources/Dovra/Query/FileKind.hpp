#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace dovra {

/// A kind of file that a query may name by any of several words.
struct FileKind {
    std::span<const std::string_view> words;
    std::span<const std::string_view> extensions;
};

/// The words of the query language that stand for a list of extensions.
struct Macros {
    /// All kinds, in the order in which they are presented.
    static std::span<const FileKind> kinds();

    /// The extensions of a word, given in lower case; absent for any other word.
    static std::optional<std::span<const std::string_view>> extensions(std::string_view word);
};

/// Tests names against a set of extensions. Immutable; safe from any thread.
class ExtensionList {
public:
    /// The extensions are in lower case, without a dot.
    explicit ExtensionList(std::vector<std::string> extensions);
    explicit ExtensionList(std::span<const std::string_view> extensions);

    /// Whether the bytes after the last dot of the name, ASCII-folded, are one of the extensions. A name
    /// without a dot has no extension. Allocates nothing.
    bool matches(std::string_view name) const;

    const std::vector<std::string>& extensions() const { return extensions_; }

private:
    bool contains(std::string_view extension) const;

    std::vector<std::string> extensions_;
    std::vector<std::uint64_t> packed_;  ///< extensions of up to eight bytes, each as one number
    std::uint64_t mayContain_ = 0;       ///< one bit for the hash of each of `packed_`
    std::size_t longest_ = 0;
};

}  // namespace dovra
