#include "Platform/FileLock.hpp"

#include <fcntl.h>
#include <sys/file.h>

#include "Platform/Linux/FileErrors.hpp"
#include "Platform/Linux/Uninterrupted.hpp"

namespace dovra {

std::variant<FileLock, FileError> FileLock::acquire(const std::string& path) {
    constexpr mode_t forTheUserAlone = 0600;
    Descriptor file(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, forTheUserAlone));
    if (!file) return fileError("open", path);
    if (uninterrupted([&] { return ::flock(file.number(), LOCK_EX); }) != 0) return fileError("lock", path);
    return FileLock(std::move(file));
}

}  // namespace dovra
