#include "Platform/Linux/LongPath.hpp"

#include <cerrno>
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

namespace dovra {

int openLongPath(int start, const std::string& path, int flags) {
    int base = start;
    std::size_t position = 0;
    while (path.size() - position >= PATH_MAX) {
        const std::size_t slash = path.rfind('/', position + PATH_MAX - 2);
        if (slash == std::string::npos || slash <= position) {
            errno = ENAMETOOLONG;
            break;
        }
        const int next =
            ::openat(base, path.substr(position, slash - position).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        const int openError = errno;
        if (base != start) ::close(base);
        if (next < 0) {
            errno = openError;
            return -1;
        }
        base = next;
        position = slash + 1;
    }
    const int descriptor =
        path.size() - position >= PATH_MAX ? -1 : ::openat(base, path.c_str() + position, flags);
    const int openError = errno;
    if (base != start) ::close(base);
    errno = openError;
    return descriptor;
}

}  // namespace dovra
