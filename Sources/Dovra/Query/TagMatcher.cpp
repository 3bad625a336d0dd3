#include "Query/TagMatcher.hpp"

#include <algorithm>

#include "Query/XattrReader.hpp"

namespace dovra {

// Both sides are in lower case already; what is left to settle is how accented letters are encoded.
TagMatcher::TagMatcher(std::string needle) : needle_(std::move(needle)), search_(needle_, true) {}

bool TagMatcher::matchesFile(const std::string& path) const {
    return std::ranges::any_of(XattrReader::userTags(path),
                               [this](const std::string& tag) { return search_.foundIn(lowercased(tag)); });
}

}  // namespace dovra
