#include "Platform/DirectoryListing.hpp"

namespace dovra {

RawDirent DirectoryListing::operator[](std::size_t i) const {
    const Record& record = records_[i];
    return {.name = {names_.data() + record.nameOffset, record.nameLen},
            .isDir = record.isDir,
            .isSymlink = record.isSymlink,
            .size = record.size,
            .modTime = record.modTime,
            .crTime = record.crTime};
}

void DirectoryListing::add(const RawDirent& entry) {
    records_.push_back({.size = entry.size,
                        .modTime = entry.modTime,
                        .crTime = entry.crTime,
                        .nameLen = static_cast<std::uint32_t>(entry.name.size()),
                        .isDir = entry.isDir,
                        .isSymlink = entry.isSymlink,
                        .nameOffset = names_.size()});
    names_.append(entry.name.data(), entry.name.size());
}

void DirectoryListing::clear() {
    records_.clear();
    names_.clear();
}

}  // namespace dovra
