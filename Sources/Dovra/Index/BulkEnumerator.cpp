#include "Index/BulkEnumerator.hpp"

namespace dovra {

std::optional<DirectoryListing> BulkEnumerator::listDirectory(const std::string& path) {
    const auto folder = OpenFolder::open(path);
    if (!folder) return std::nullopt;
    DirectoryListing listing;
    folder->list(ListingDetail::attributes, listing);
    return listing;
}

}  // namespace dovra
