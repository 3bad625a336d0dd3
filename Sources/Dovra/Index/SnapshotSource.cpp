#include "Index/SnapshotSource.hpp"

#include <cstring>

namespace dovra {

SnapshotSource SnapshotSource::fromBytes(std::string_view bytes) {
    return {bytes.size(), [bytes](std::uint64_t offset, std::span<char> destination) {
                if (!destination.empty())
                    std::memcpy(destination.data(), bytes.data() + offset, destination.size());
                return true;
            }};
}

SnapshotSource SnapshotSource::fromFile(const RegularFile& file) {
    return {file.size(), [&file](std::uint64_t offset, std::span<char> destination) {
                while (!destination.empty()) {
                    const auto count = file.readAt(offset, destination);
                    if (!count || *count == 0) return false;
                    offset += *count;
                    destination = destination.subspan(*count);
                }
                return true;
            }};
}

}  // namespace dovra
