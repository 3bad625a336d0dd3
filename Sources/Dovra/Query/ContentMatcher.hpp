#pragma once

#include <stop_token>
#include <string>
#include <variant>

#include "Base/ByteNeedle.hpp"
#include "Base/TextNeedle.hpp"

namespace dovra {

/// Tests whether the data of a file contain a text. Each test reads the file block by block, whatever its
/// length. Immutable; safe from any thread.
class ContentMatcher {
public:
    /// An ASCII needle is searched as bytes, under ASCII folding unless `caseSensitive`. Any other needle is
    /// searched by the rules of `UnicodeNeedle`.
    ContentMatcher(std::string needle, bool caseSensitive);

    /// Whether the file contains the needle. False for anything but a regular file or a link to one, after a
    /// read error, and soon after a request to stop.
    bool matchesFile(const std::string& path, const std::stop_token& stop = {}) const;

    const std::string& needle() const { return needle_; }

private:
    std::string needle_;
    std::variant<ByteNeedle, UnicodeNeedle> search_;
};

}  // namespace dovra
