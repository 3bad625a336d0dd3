#pragma once

#include <string>

#include "Base/TextNeedle.hpp"

namespace dovra {

/// Whether one of a file's tags contains a text, without regard to case. Reads the disk at every test.
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
