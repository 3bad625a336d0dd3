#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "Platform/Descriptor.hpp"

namespace dovra {

/// The failure of a file operation.
struct FileError {
    std::string message;  ///< the operation, the file and the reason, for a person to read
    int code = 0;         ///< the system's error number; 0 for a refusal by Dovra itself
};

/// The result of reading a file: its bytes, or an error, or neither when there is no such file.
struct FileContents {
    std::optional<std::string> bytes;
    std::optional<FileError> error;
};

/// Reads a whole regular file of at most `maxBytes`; a larger file, or one of another kind, is an error.
/// Links are followed, and opening never waits.
FileContents readWholeFile(const std::string& path, std::size_t maxBytes);

/// A file that is written piece by piece beside another and takes its place once it is whole, mode 0600. A
/// reader, even after a crash, finds the old contents or the new ones, never a mixture. The remains of a
/// killed writer are removed when the same user writes the file again. A symbolic link to a file stays, and
/// its target is replaced. For one thread.
class AtomicFile {
public:
    /// Begins the file that is to replace the one at `path`. During its life no other object of the same
    /// user, in any process, can write the same file: its operations fail at once with the code EWOULDBLOCK.
    explicit AtomicFile(const std::string& path);

    /// Leaves the old file unchanged, and no other file beside it, unless the new one was committed.
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    /// Appends the bytes. False after a failure (a full disk, a folder without write permission), which
    /// `commit` returns; further bytes are dropped.
    bool write(std::string_view bytes);

    /// Replaces the old file, or returns the first failure since the beginning. Called at most once.
    [[nodiscard]] std::optional<FileError> commit();

private:
    std::string target_;
    std::string temporary_;  ///< the file to remove at the end; empty for none
    Descriptor file_;
    std::optional<FileError> error_;
};

/// Replaces the file by one with these bytes, as `AtomicFile` does.
[[nodiscard]] std::optional<FileError> writeFileAtomically(const std::string& path, std::string_view bytes);

/// The exclusive lock of a lock file, held for the object's life: one holder at a time among all processes
/// and all objects of one process. The system releases the lock of a process that dies. The file stays,
/// because removing it would let two processes lock two files of one name.
class FileLock {
public:
    /// Waits for the lock. Makes a missing lock file (mode 0600).
    static std::variant<FileLock, FileError> acquire(const std::string& path);

private:
    explicit FileLock(Descriptor file) : file_(std::move(file)) {}

    Descriptor file_;
};

}  // namespace dovra
