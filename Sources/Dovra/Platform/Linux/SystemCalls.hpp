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

/// Repeats a system call that a signal interrupted, as on a network file system even opening may be.
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

/// Whether a call that failed with this error may succeed a little later, because what it needs is only in
/// use by others: it says nothing about the file.
inline bool isShortage(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == EINTR;
}

/// Whether the open file or folder is the one that stands at the path.
inline bool standsAt(const Descriptor& file, const std::string& path) {
    struct stat opened {};
    struct stat found {};
    return ::fstat(file.number(), &opened) == 0 && ::lstat(path.c_str(), &found) == 0 &&
           found.st_dev == opened.st_dev && found.st_ino == opened.st_ino;
}

/// Opens a path of any length from the folder `start`: one that is longer than the system takes in one call
/// is opened folder by folder. `resolve` are the rules of `openat2` for the way. Without a number on failure,
/// and `errno` tells why.
Descriptor openLongPath(int start, const std::string& path, int flags, std::uint64_t resolve = 0);

}  // namespace dovra
