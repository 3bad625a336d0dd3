#include "Platform/RegularFile.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Platform/Linux/SystemCalls.hpp"

namespace dovra {

namespace {

/// Whether something other than a regular file is known to be at `path`. The check comes before opening,
/// because opening alone makes some devices act (a tape rewinds, a watchdog starts to count). The type is
/// checked again after opening, for paths too long for this call and for changes in between.
bool isKnownAsOther(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

}  // namespace

std::optional<RegularFile> RegularFile::open(const std::string& path) {
    return isKnownAsOther(path) ? std::nullopt : openWith(path, 0);
}

std::optional<RegularFile> RegularFile::openKnown(const std::string& path) {
    return openWith(path, O_NOFOLLOW);
}

std::optional<RegularFile> RegularFile::openWith(const std::string& path, int flags) {
    RegularFile file(openLongPath(AT_FDCWD, path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | flags));
    struct stat status {};
    if (::fstat(file.descriptor_.number(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    file.size_ = static_cast<std::uint64_t>(status.st_size);
    file.device_ = status.st_dev;
    file.inode_ = status.st_ino;
    return file;
}

std::optional<std::size_t> RegularFile::readAt(std::uint64_t offset, std::span<char> destination) const {
    const auto at = static_cast<off_t>(offset);
    const ssize_t count = uninterrupted(
        [&] { return ::pread(descriptor_.number(), destination.data(), destination.size(), at); });
    return count < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(count));
}

}  // namespace dovra
