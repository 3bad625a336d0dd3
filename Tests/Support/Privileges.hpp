#pragma once

#include <cstdlib>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace dovra::test {

/// During its life, the process has the rights of an ordinary user. Without effect in a process that has no
/// more.
class OrdinaryUser {
public:
    OrdinaryUser() : user_(::geteuid()) {
        if (user_ == 0 && ::seteuid(nobody) != 0) isOrdinary_ = false;
    }
    ~OrdinaryUser() {
        if (user_ == 0 && isOrdinary_) (void)!::seteuid(user_);
    }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

    bool isOrdinary() const { return isOrdinary_; }

private:
    static constexpr uid_t nobody = 65534;

    uid_t user_;
    bool isOrdinary_ = true;
};

/// Gives the calling thread, and the threads that it starts, mounts of their own. The machine's mounts do not
/// change with them. False where the process may not mount.
inline bool leaveMounts() {
    return ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

/// The result of `body`, run in a process of its own; -1 when that process does not end by itself.
template <typename Body>
int inAChild(const Body& body) {
    const pid_t child = ::fork();
    if (child == 0) std::_Exit(body());
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace dovra::test
