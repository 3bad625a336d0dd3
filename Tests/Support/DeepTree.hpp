#pragma once

#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace dovra::test {

/// A chain of folders, one in another, too deep for a path and for a recursive removal.
class DeepTree {
public:
    DeepTree(const std::string& root, const std::string& name, int levels) : name_(name), levels_(levels) {
        bottom_ = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (int level = 0; level < levels; ++level) {
            if (::mkdirat(bottom_, name.c_str(), 0700) != 0)
                throw std::runtime_error("cannot create " + name);
            move(name.c_str());
        }
    }
    ~DeepTree() {
        for (int level = 0; level < levels_; ++level) {
            move("..");
            ::unlinkat(bottom_, name_.c_str(), AT_REMOVEDIR);
        }
        ::close(bottom_);
    }
    /// A descriptor of the deepest folder.
    int bottom() const { return bottom_; }

    DeepTree(const DeepTree&) = delete;
    DeepTree& operator=(const DeepTree&) = delete;

private:
    void move(const char* to) {
        const int next = ::openat(bottom_, to, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(bottom_);
        bottom_ = next;
    }

    std::string name_;
    int levels_;
    int bottom_;
};

}  // namespace dovra::test
