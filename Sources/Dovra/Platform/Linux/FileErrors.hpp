#pragma once

#include <cerrno>
#include <fmt/format.h>
#include <string_view>
#include <system_error>

#include "Platform/FileError.hpp"

namespace dovra {

/// The error of a system call that failed on `path`, from its error number. `action` completes "cannot".
inline FileError fileError(std::string_view action, std::string_view path, int code = errno) {
    return {fmt::format("cannot {} {}: {}", action, path, std::generic_category().message(code)), code};
}

/// Whether a call that failed with this error may succeed later, because the resource that it needs is in
/// use. Such an error says nothing about the file.
inline bool isShortage(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == EINTR;
}

}  // namespace dovra
