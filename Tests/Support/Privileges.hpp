#pragma once

#include <cstdlib>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace dovra::test {

/// While it lives, the process has no more rights than an ordinary user's. Tells nothing where it had none
/// to lose.
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

/// Gives the calling thread and those that it starts mounts of their own, of which nothing reaches the
/// machine's. False where the process may not mount.
inline bool leaveMounts() {
    return ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

/// What `body` returns, run in a process of its own; -1 when that does not end by itself.
template <typename Body>
int inAChild(const Body& body) {
    const pid_t child = ::fork();
    if (child == 0) std::_Exit(body());
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// A file system mounted on a folder, seen by this thread and those that it starts; gone at the end.
class MountedFolder {
public:
    MountedFolder(const char* type, const std::string& path) : path_(path) {
        isMounted_ = leaveMounts() && ::mount(type, path.c_str(), type, 0, nullptr) == 0;
    }
    ~MountedFolder() {
        if (isMounted_) ::umount2(path_.c_str(), MNT_DETACH);
    }
    MountedFolder(const MountedFolder&) = delete;
    MountedFolder& operator=(const MountedFolder&) = delete;

    /// False where the process may not mount.
    bool isMounted() const { return isMounted_; }

private:
    std::string path_;
    bool isMounted_;
};

}  // namespace dovra::test
