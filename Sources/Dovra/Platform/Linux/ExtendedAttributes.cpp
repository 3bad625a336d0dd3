#include "Platform/ExtendedAttributes.hpp"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/limits.h>
#include <sys/xattr.h>

#include "Platform/Linux/SystemCalls.hpp"

namespace dovra {

namespace {

/// Nearly every value fits the small buffer. A longer one is read with room for the kernel's longest value,
/// because it may grow between the two calls.
std::optional<std::string> readShortPath(const std::string& path, const std::string& name) {
    std::array<char, 1024> buffer{};
    const ssize_t length = ::getxattr(path.c_str(), name.c_str(), buffer.data(), buffer.size());
    if (length >= 0) return std::string(buffer.data(), static_cast<std::size_t>(length));
    if (errno != ERANGE) return std::nullopt;
    std::string value(XATTR_SIZE_MAX, '\0');
    const ssize_t longer = ::getxattr(path.c_str(), name.c_str(), value.data(), value.size());
    if (longer < 0) return std::nullopt;
    value.resize(static_cast<std::size_t>(longer));
    return value;
}

}  // namespace

std::optional<std::string> readExtendedAttribute(const std::string& path, const std::string& name) {
    if (path.size() < PATH_MAX) return readShortPath(path, name);
    const Descriptor file = openLongPath(AT_FDCWD, path, O_PATH | O_CLOEXEC);
    if (!file) return std::nullopt;
    // A descriptor that only names the file refuses `fgetxattr`; its own short path is accepted.
    return readShortPath(fmt::format("/proc/self/fd/{}", file.number()), name);
}

}  // namespace dovra
