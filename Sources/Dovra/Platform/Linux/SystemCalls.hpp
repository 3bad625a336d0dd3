#pragma once

#include <cerrno>
#include <cstdint>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <system_error>

#include "Platform/AtomicFile.hpp"
#include "Platform/Descriptor.hpp"

namespace dovra {

/// Repeats a system call that a signal interrupted. On a network file system that happens even to opening.
template <typename Call>
auto uninterrupted(const Call& call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

/// The error of a system call that failed on `path`, from its error number. `action` completes "cannot".
inline FileError fileError(std::string_view action, std::string_view path, int code = errno) {
    return {fmt::format("cannot {} {}: {}", action, path, std::generic_category().message(code)), code};
}

/// Whether a call that failed with this error may succeed later, because the resource that it needs is in
/// use. Such an error says nothing about the file.
inline bool isShortage(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == EINTR;
}

/// Whether the open file or folder is the one at the path.
inline bool standsAt(const Descriptor& file, const std::string& path) {
    struct stat opened {};
    struct stat found {};
    return ::fstat(file.number(), &opened) == 0 && ::lstat(path.c_str(), &found) == 0 &&
           found.st_dev == opened.st_dev && found.st_ino == opened.st_ino;
}

/// Opens a path of any length from the folder `start`. A path beyond the system's limit for one call is
/// opened step by step. `resolve` are the rules of `openat2` for the way. Without a number on failure;
/// `errno` gives the reason.
Descriptor openLongPath(int start, const std::string& path, int flags, std::uint64_t resolve = 0);

}  // namespace dovra
