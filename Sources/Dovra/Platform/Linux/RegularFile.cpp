#include "Platform/RegularFile.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "Platform/Linux/LongPath.hpp"

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
    const int descriptor = openLongPath(AT_FDCWD, path, flags);
    if (descriptor < 0) return std::nullopt;
    RegularFile file(descriptor);
    if (!file.identify()) return std::nullopt;
    return file;
}

RegularFile::~RegularFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

RegularFile::RegularFile(RegularFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      size_(other.size_),
      device_(other.device_),
      inode_(other.inode_),
      linkCount_(other.linkCount_) {}

RegularFile& RegularFile::operator=(RegularFile&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    std::swap(size_, other.size_);
    std::swap(device_, other.device_);
    std::swap(inode_, other.inode_);
    std::swap(linkCount_, other.linkCount_);
    return *this;
}

bool RegularFile::identify() {
    struct stat status {};
    if (::fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) return false;
    size_ = static_cast<std::uint64_t>(status.st_size);
    device_ = status.st_dev;
    inode_ = status.st_ino;
    linkCount_ = status.st_nlink;
    return true;
}

std::optional<std::size_t> RegularFile::readAt(std::uint64_t offset, std::span<char> destination) const {
    for (;;) {
        const ssize_t count =
            ::pread(descriptor_, destination.data(), destination.size(), static_cast<off_t>(offset));
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR) return std::nullopt;
    }
}

}  // namespace dovra
