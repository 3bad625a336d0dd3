#pragma once

#include <cstdlib>
#include <unistd.h>

namespace dovra::test {

/// While it lives, temporary trees are made in memory where the system has a folder for that.
class InMemory {
public:
    InMemory() {
        if (::access("/dev/shm", W_OK) == 0) ::setenv("TMPDIR", "/dev/shm", 1);
    }
    ~InMemory() { ::unsetenv("TMPDIR"); }
    InMemory(const InMemory&) = delete;
    InMemory& operator=(const InMemory&) = delete;
};

}  // namespace dovra::test
