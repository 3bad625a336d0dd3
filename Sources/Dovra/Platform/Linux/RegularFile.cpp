#include "Platform/RegularFile.hpp"

#include <fcntl.h>
#include <linux/openat2.h>
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

constexpr int readingFlags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

}  // namespace

std::optional<RegularFile> RegularFile::open(const std::string& path) {
    if (isKnownAsOther(path)) return std::nullopt;
    return checked(openLongPath(AT_FDCWD, path, readingFlags));
}

std::optional<RegularFile> RegularFile::openKnown(const std::string& path) {
    return checked(openLongPath(AT_FDCWD, path, readingFlags | O_NOFOLLOW));
}

std::optional<RegularFile> RegularFile::openBelow(const std::string& root, const std::string& path) {
    if (path.find('\0') != std::string::npos) return std::nullopt;
    constexpr std::uint64_t rules = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    const Descriptor folder = openLongPath(AT_FDCWD, root, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (!folder) return std::nullopt;
    const auto found = checked(openLongPath(folder.number(), path, O_PATH | O_CLOEXEC, rules));
    if (!found) return std::nullopt;
    return checked(openLongPath(folder.number(), path, readingFlags, rules));
}

std::optional<RegularFile> RegularFile::checked(Descriptor descriptor) {
    RegularFile file(std::move(descriptor));
    struct stat status {};
    if (::fstat(file.descriptor_.number(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    file.size_ = static_cast<std::uint64_t>(status.st_size);
    file.modified_ = status.st_mtim.tv_sec;
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
