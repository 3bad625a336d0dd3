#pragma once

#include <stop_token>
#include <string>
#include <variant>

#include "Base/ByteNeedle.hpp"
#include "Base/TextNeedle.hpp"

namespace dovra {

/// Whether the data of a file contain a text. Reads the file at every test, block by block, whatever its
/// length. Immutable; safe from any thread.
class ContentMatcher {
public:
    /// A needle of ASCII is searched as bytes, under ASCII folding unless `caseSensitive`; any other by the
    /// rule of `UnicodeNeedle`.
    ContentMatcher(std::string needle, bool caseSensitive);

    /// False for everything but regular files (links to them included), when reading fails, and soon after a
    /// stop was requested.
    bool matchesFile(const std::string& path, const std::stop_token& stop = {}) const;

    const std::string& needle() const { return needle_; }

private:
    std::string needle_;
    std::variant<ByteNeedle, UnicodeNeedle> search_;
};

}  // namespace dovra
