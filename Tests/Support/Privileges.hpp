#pragma once

#include <sched.h>
#include <string>
#include <sys/mount.h>
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

/// A file system mounted on a folder, seen by this thread and those that it starts; gone at the end.
class MountedFolder {
public:
    MountedFolder(const char* type, const std::string& path) : path_(path) {
        // Private, so that nothing reaches the machine's own mounts.
        isMounted_ = ::unshare(CLONE_NEWNS) == 0 &&
                     ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                     ::mount(type, path.c_str(), type, 0, nullptr) == 0;
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
