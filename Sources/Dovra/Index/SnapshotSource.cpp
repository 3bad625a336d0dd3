#include "Index/SnapshotSource.hpp"

#include <algorithm>
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

std::optional<std::string_view> SequentialReader::take(std::size_t count) {
    if (available() < count && !fill(count)) return std::nullopt;
    const std::string_view bytes(buffer_.data() + start_, count);
    start_ += count;
    return bytes;
}

bool SequentialReader::fill(std::size_t count) {
    constexpr std::size_t bufferBytes = std::size_t{256} * 1024;
    const std::size_t kept = available();
    if (count - kept > source_.size - next_) return false;
    std::copy(buffer_.begin() + start_, buffer_.end(), buffer_.begin());
    const std::size_t wanted = std::max(count, bufferBytes) - kept;
    const std::size_t added = std::min<std::uint64_t>(wanted, source_.size - next_);
    buffer_.truncate(kept);
    start_ = 0;
    if (!source_.read(next_, {buffer_.extend(added), added})) return false;
    next_ += added;
    return true;
}

}  // namespace dovra
