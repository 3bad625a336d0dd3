#include "Platform/Linux/LongPath.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

namespace dovra {

namespace {

/// Retries what a signal interrupted: opening on a network file system may wait.
int openAt(int base, const char* path, int flags) {
    int descriptor = -1;
    do {
        descriptor = ::openat(base, path, flags);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

void closeKeepingError(int descriptor) {
    const int error = errno;
    ::close(descriptor);
    errno = error;
}

/// Opens the folder named by the bytes of `path` from `first` up to the slash at `end`.
int openFolderOnTheWay(int base, const std::string& path, std::size_t first, std::size_t end) {
    if (end == std::string::npos || end <= first) {
        errno = ENAMETOOLONG;
        return -1;
    }
    return openAt(base, path.substr(first, end - first).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
}

}  // namespace

int openLongPath(int start, const std::string& path, int flags) {
    int base = start;
    std::size_t position = 0;
    while (path.size() - position >= PATH_MAX) {
        const std::size_t slash = path.rfind('/', position + PATH_MAX - 2);
        const int next = openFolderOnTheWay(base, path, position, slash);
        if (base != start) closeKeepingError(base);
        if (next < 0) return -1;
        base = next;
        // A rest that began with a second slash would be taken as an absolute path.
        position = std::min(path.find_first_not_of('/', slash), path.size());
    }
    const bool endsInSlash = position > 0 && position == path.size();
    const int descriptor = openAt(base, endsInSlash ? "." : path.c_str() + position, flags);
    if (base != start) closeKeepingError(base);
    return descriptor;
}

}  // namespace dovra
