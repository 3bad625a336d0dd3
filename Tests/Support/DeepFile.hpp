#pragma once

#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>

#include "Support/DeepTree.hpp"

namespace dovra::test {

/// A file below `root` whose path is longer than a system call accepts, and the descriptor it was written
/// through.
class DeepFile {
public:
    DeepFile(const std::string& root, std::string_view bytes) : path(root), folders_(root, name(), levels) {
        for (int level = 0; level < levels; ++level)
            path += "/" + name();
        path += "/file";
        descriptor = ::openat(folders_.bottom(), "file", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (::write(descriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
            throw std::runtime_error("cannot write " + path);
    }
    ~DeepFile() {
        ::unlinkat(folders_.bottom(), "file", 0);
        ::close(descriptor);
    }
    DeepFile(const DeepFile&) = delete;
    DeepFile& operator=(const DeepFile&) = delete;

    std::string path;
    int descriptor;

private:
    static constexpr int levels = 40;
    static std::string name() { return std::string(200, 'd'); }

    const DeepTree folders_;
};

}  // namespace dovra::test
