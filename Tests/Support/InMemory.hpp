#pragma once

#include <cstdlib>
#include <unistd.h>

namespace dovra::test {

/// During its life, temporary trees are made in memory, if the system has a folder for that and the user
/// asked for no other.
class InMemory {
public:
    InMemory() {
        isOurs_ = std::getenv("TMPDIR") == nullptr && ::access("/dev/shm", W_OK) == 0;
        if (isOurs_) ::setenv("TMPDIR", "/dev/shm", 1);
    }
    ~InMemory() {
        if (isOurs_) ::unsetenv("TMPDIR");
    }
    InMemory(const InMemory&) = delete;
    InMemory& operator=(const InMemory&) = delete;

private:
    bool isOurs_;
};

}  // namespace dovra::test
