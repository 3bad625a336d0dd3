#pragma once

#include <sys/resource.h>
#include <unistd.h>

namespace dovra::test {

/// During its life, the process can open at most `count` further files at a time.
class FewDescriptors {
public:
    explicit FewDescriptors(int count) {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const int lowest = ::dup(STDERR_FILENO);
        ::close(lowest);
        const rlimit few{.rlim_cur = static_cast<rlim_t>(lowest + count), .rlim_max = before_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

private:
    rlimit before_{};
};

}  // namespace dovra::test
