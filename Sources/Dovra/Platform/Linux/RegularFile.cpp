#include "Platform/RegularFile.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Platform/Linux/SystemCalls.hpp"

namespace dovra {

namespace {

/// Whether something other than a regular file is known to be at `path`. Asked before opening because opening
/// alone makes some devices act (a tape rewinds, a watchdog starts to count). What cannot be asked (a path
/// too long for one call) is judged after opening, like everything that changes in between.
bool isKnownAsOther(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

}  // namespace

std::optional<RegularFile> RegularFile::open(const std::string& path, Links links) {
    if (isKnownAsOther(path)) return std::nullopt;
    const int flags =
        O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | (links == Links::refuse ? O_NOFOLLOW : 0);
    RegularFile file(openLongPath(AT_FDCWD, path, flags));
    struct stat status {};
    if (::fstat(file.descriptor_.number(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    file.size_ = static_cast<std::uint64_t>(status.st_size);
    file.device_ = status.st_dev;
    file.inode_ = status.st_ino;
    file.linkCount_ = status.st_nlink;
    return file;
}

std::optional<std::size_t> RegularFile::readAt(std::uint64_t offset, std::span<char> destination) const {
    const auto at = static_cast<off_t>(offset);
    const ssize_t count = uninterrupted(
        [&] { return ::pread(descriptor_.number(), destination.data(), destination.size(), at); });
    return count < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(count));
}

}  // namespace dovra
