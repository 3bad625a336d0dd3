#include "Index/NamePool.hpp"

#include <cstring>

#include "Base/BitCount.hpp"
#include "Base/Print.hpp"

namespace dovra {

std::uint32_t NamePool::append(std::string_view name) {
    const std::size_t offset = bytes_.size();
    if (name.size() > maxNameBytes) fatalError("a name is longer than 65535 bytes");
    if (offset + name.size() > maxBytes) fatalError("the name pool exceeds 4294967295 bytes");
    std::memcpy(bytes_.extend(name.size() + readableSlack), name.data(), name.size());
    bytes_.truncate(offset + name.size());

    const std::size_t last = bytes_.size() - 1;
    if (ends_.size() <= last / 64) ends_.resizeZeroed(last / 64 + 1);
    ends_[last / 64] |= std::uint64_t{1} << (last % 64);
    while (namesBeforeBlock_.size() <= last / bytesPerBlock)
        namesBeforeBlock_.push_back(names_);
    ++names_;
    return static_cast<std::uint32_t>(offset);
}

void NamePool::assign(PodVector<std::uint8_t> bytes, std::span<const FileEntry> entries) {
    *this = NamePool();
    bytes_ = std::move(bytes);
    bytes_.reserve(bytes_.size() + readableSlack);
    ends_.resizeZeroed((bytes_.size() + 63) / 64);
    for (const FileEntry& entry : entries) {
        const std::size_t last = std::size_t{entry.nameOffset} + entry.nameLen - 1;
        ends_[last / 64] |= std::uint64_t{1} << (last % 64);
    }
    for (std::size_t word = 0; word < ends_.size(); ++word) {
        if (word % (bytesPerBlock / 64) == 0) namesBeforeBlock_.push_back(names_);
        names_ += countBits(ends_[word]);
    }
}

EntryId NamePool::nameAt(std::size_t offset) const {
    const std::size_t block = offset / bytesPerBlock;
    std::uint32_t count = namesBeforeBlock_[block];
    const std::size_t word = offset / 64;
    for (std::size_t i = block * (bytesPerBlock / 64); i < word; ++i) {
        count += countBits(ends_[i]);
    }
    const std::uint64_t before = (std::uint64_t{1} << (offset % 64)) - 1;
    count += countBits(ends_[word] & before);
    return static_cast<EntryId>(count);
}

bool NamePool::isWithinName(std::size_t offset, std::size_t length) const {
    // Only the last byte may be the last of a name.
    const std::size_t last = offset + length - 1;
    for (std::size_t word = offset / 64; word * 64 < last; ++word) {
        std::uint64_t ends = ends_[word];
        if (word == offset / 64) ends &= ~((std::uint64_t{1} << (offset % 64)) - 1);
        if (word == last / 64) ends &= (std::uint64_t{1} << (last % 64)) - 1;
        if (ends != 0) return false;
    }
    return true;
}

std::size_t NamePool::memoryBytes() const {
    return bytes_.capacityBytes() + ends_.capacityBytes() + namesBeforeBlock_.capacityBytes();
}

}  // namespace dovra
