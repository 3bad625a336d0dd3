#include "Platform/Linux/SystemCalls.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace dovra {

namespace {

Descriptor openResolved(int start, const char* path, int flags, std::uint64_t resolve) {
    open_how how{.flags = static_cast<unsigned>(flags), .mode = 0, .resolve = resolve};
    return Descriptor(static_cast<int>(
        uninterrupted([&] { return ::syscall(SYS_openat2, start, path, &how, sizeof how); })));
}

Descriptor openAt(int start, const char* path, int flags, std::uint64_t resolve) {
    // Kernels before 5.6, and some sandboxes, do not know the call. Without it only the last component is
    // refused as a link.
    static const bool canRefuseLinks =
        static_cast<bool>(openResolved(AT_FDCWD, "/", O_PATH | O_CLOEXEC, RESOLVE_NO_SYMLINKS));
    if (resolve == RESOLVE_NO_SYMLINKS && !canRefuseLinks) return openAt(start, path, flags | O_NOFOLLOW, 0);
    if (resolve != 0) return openResolved(start, path, flags, resolve);
    return Descriptor(uninterrupted([&] { return ::openat(start, path, flags); }));
}

}  // namespace

Descriptor openLongPath(int start, const std::string& path, int flags, std::uint64_t resolve) {
    Descriptor reached;
    const auto base = [&] { return reached ? reached.number() : start; };
    std::size_t position = 0;
    while (path.size() - position >= PATH_MAX) {
        const std::size_t slash = path.rfind('/', position + PATH_MAX - 2);
        if (slash == std::string::npos || slash <= position) {
            errno = ENAMETOOLONG;
            return Descriptor();
        }
        const std::string step = path.substr(position, slash - position);
        reached = openAt(base(), step.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC, resolve);
        if (!reached) return reached;
        // With a second slash at its start the rest would count as an absolute path.
        position = std::min(path.find_first_not_of('/', slash), path.size());
    }
    const bool endsInSlash = position > 0 && position == path.size();
    return openAt(base(), endsInSlash ? "." : path.c_str() + position, flags, resolve);
}

}  // namespace dovra
