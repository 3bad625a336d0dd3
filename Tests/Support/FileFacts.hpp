#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace dovra::test {

/// All bytes of a file; "absent" when it cannot be read.
inline std::string bytesOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) return "absent";
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// The names in a folder, sorted.
inline std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::ranges::sort(names);
    return names;
}

inline struct stat statusOf(const std::string& path) {
    struct stat status {};
    ::stat(path.c_str(), &status);
    return status;
}

/// The permission bits.
inline unsigned modeOf(const std::string& path) {
    return statusOf(path).st_mode & 07777U;
}

}  // namespace dovra::test
