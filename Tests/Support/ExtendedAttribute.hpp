#pragma once

#include <string>
#include <string_view>
#include <sys/xattr.h>

namespace dovra::test {

/// False when the file system keeps no attributes of this kind or length.
inline bool setAttribute(const std::string& path, const char* name, std::string_view value) {
    return ::setxattr(path.c_str(), name, value.data(), value.size(), 0) == 0;
}

}  // namespace dovra::test
