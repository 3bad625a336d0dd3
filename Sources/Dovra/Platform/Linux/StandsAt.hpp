#pragma once

#include <string>
#include <sys/stat.h>

#include "Platform/Descriptor.hpp"

namespace dovra {

/// Whether the open file or folder is the one at the path.
inline bool standsAt(const Descriptor& file, const std::string& path) {
    struct stat opened {};
    struct stat found {};
    return ::fstat(file.number(), &opened) == 0 && ::lstat(path.c_str(), &found) == 0 &&
           found.st_dev == opened.st_dev && found.st_ino == opened.st_ino;
}

}  // namespace dovra
