#include "Platform/FileLock.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

#include "Platform/Linux/FileErrors.hpp"

namespace dovra {

std::variant<FileLock, FileError> FileLock::acquire(const std::string& path) {
    constexpr mode_t forTheUserAlone = 0600;
    FileLock lock(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, forTheUserAlone));
    if (lock.descriptor_ < 0) return fileError("open", path);
    while (::flock(lock.descriptor_, LOCK_EX) != 0) {
        if (errno != EINTR) return fileError("lock", path);
    }
    return lock;
}

FileLock::~FileLock() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

FileLock::FileLock(FileLock&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

FileLock& FileLock::operator=(FileLock&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

}  // namespace dovra
