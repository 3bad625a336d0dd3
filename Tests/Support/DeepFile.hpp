#pragma once

#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace dovra::test {

/// A file below `root` whose path is longer than the system takes in one call, and the descriptor it was
/// written through.
struct DeepFile {
    std::string path;
    int descriptor;

    DeepFile(const std::string& root, std::string_view bytes) : path(root) {
        int folder = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (int level = 0; level < 40; ++level) {
            const std::string name(200, static_cast<char>('a' + level % 26));
            ::mkdirat(folder, name.c_str(), 0700);
            const int next = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            ::close(folder);
            folder = next;
            path += "/" + name;
        }
        descriptor = ::openat(folder, "file", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        ::close(folder);
        path += "/file";
        if (::write(descriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
            throw std::runtime_error("cannot write " + path);
    }
    ~DeepFile() { ::close(descriptor); }
    DeepFile(const DeepFile&) = delete;
    DeepFile& operator=(const DeepFile&) = delete;
};

}  // namespace dovra::test
