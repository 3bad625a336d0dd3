#include "Platform/AtomicFile.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Platform/Linux/SystemCalls.hpp"

namespace dovra {

namespace {

/// Reads to the end of the file, or to `limit` bytes. `expected` is the probable number. Absent on an error.
std::optional<std::string> readUpTo(const Descriptor& file, std::size_t limit, std::size_t expected) {
    std::string bytes;
    std::size_t filled = 0;
    while (filled < limit) {
        // One byte more than expected shows the end of the file without growing the buffer.
        if (filled == bytes.size()) bytes.resize(std::min(limit, std::max(expected + 1, 2 * filled)));
        const ssize_t count = uninterrupted(
            [&] { return ::read(file.number(), bytes.data() + filled, bytes.size() - filled); });
        if (count < 0) return std::nullopt;
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
    }
    bytes.resize(filled);
    return bytes;
}

bool writeAll(const Descriptor& file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count =
            uninterrupted([&] { return ::write(file.number(), bytes.data(), bytes.size()); });
        if (count < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

/// The file to replace: the target of a link to a file. Other links are replaced themselves, because a device
/// must stay.
std::string fileToReplace(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) return path;
    const std::filesystem::path target = std::filesystem::canonical(path, error);
    return error ? path : target.string();
}

/// Makes a rename in the folder outlast a crash. The rename cannot be undone, so a failure here is ignored.
void syncFolderOf(const std::string& path) {
    const std::string folder = std::filesystem::path(path).parent_path().string();
    const Descriptor descriptor(
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor) (void)::fsync(descriptor.number());
}

/// Makes the file at `path` and locks it; on failure the number is -1 and `errno` gives the reason. The lock
/// shows that its writer lives: a file without a lock is the rest of a killed process, and is removed. Only
/// the holder of the lock renames or removes the file at `path`. A lock acquired too late belongs to another
/// file than the one at `path` now, so the loop tries again. A file made by somebody else is never written.
Descriptor makeLocked(const std::string& path) {
    constexpr int attempts = 100;
    constexpr int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    constexpr mode_t forTheUserAlone = 0600;
    for (int i = 0; i < attempts; ++i) {
        Descriptor file(::open(path.c_str(), flags | O_CREAT | O_EXCL, forTheUserAlone));
        const bool isNew = static_cast<bool>(file);
        if (!isNew) {
            if (errno != EEXIST) return Descriptor();
            file = Descriptor(::open(path.c_str(), flags));
            if (!file && errno == ENOENT) continue;
        }
        if (!file || ::flock(file.number(), LOCK_EX | LOCK_NB) != 0) return Descriptor();
        if (!standsAt(file, path)) continue;
        if (isNew) return file;
        if (::unlink(path.c_str()) != 0) return Descriptor();
    }
    errno = EBUSY;
    return Descriptor();
}

}  // namespace

FileContents readWholeFile(const std::string& path, std::size_t maxBytes) {
    const Descriptor file(
        uninterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
    if (!file && errno == ENOENT) return {};
    struct stat status {};
    if (!file || ::fstat(file.number(), &status) != 0) return {{}, fileError("read", path)};
    if (!S_ISREG(status.st_mode)) return {{}, FileError{fmt::format("{} is not a regular file", path)}};
    auto bytes = readUpTo(file, maxBytes + 1, static_cast<std::size_t>(status.st_size));
    if (!bytes) return {{}, fileError("read", path)};
    if (bytes->size() > maxBytes) {
        return {{}, FileError{fmt::format("{} is larger than {} bytes", path, maxBytes), EFBIG}};
    }
    return {std::move(bytes), {}};
}

// The name is the same for all processes of a user, so the next writer finds the file of a killed one. Each
// user has another name, because the file of another user can be neither opened nor known as abandoned.
AtomicFile::AtomicFile(const std::string& path)
    : target_(fileToReplace(path)),
      temporary_(fmt::format("{}.new-{}", target_, ::geteuid())),
      file_(makeLocked(temporary_)) {
    if (file_) return;
    error_ = fileError("write beside", target_);
    temporary_.clear();
}

AtomicFile::~AtomicFile() {
    // The lock is still held: without it the file may belong to another writer.
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

bool AtomicFile::write(std::string_view bytes) {
    if (!error_ && !writeAll(file_, bytes)) error_ = fileError("write", target_);
    return !error_;
}

std::optional<FileError> AtomicFile::commit() {
    if (error_) return error_;
    if (uninterrupted([&] { return ::fsync(file_.number()); }) != 0 ||
        ::rename(temporary_.c_str(), target_.c_str()) != 0)
        return error_ = fileError("write", target_);
    temporary_.clear();
    syncFolderOf(target_);
    return std::nullopt;
}

std::optional<FileError> writeFileAtomically(const std::string& path, std::string_view bytes) {
    AtomicFile file(path);
    file.write(bytes);
    return file.commit();
}

std::variant<FileLock, FileError> FileLock::acquire(const std::string& path) {
    constexpr mode_t forTheUserAlone = 0600;
    Descriptor file(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, forTheUserAlone));
    if (!file) return fileError("open", path);
    if (uninterrupted([&] { return ::flock(file.number(), LOCK_EX); }) != 0) return fileError("lock", path);
    return FileLock(std::move(file));
}

}  // namespace dovra
