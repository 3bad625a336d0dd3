#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "Platform/Descriptor.hpp"

namespace dovra {

/// Why a file operation failed.
struct FileError {
    std::string message;  ///< what could not be done to which file and why, for a person to read
    int code = 0;         ///< the system's error number; 0 when the refusal is our own
};

/// What reading a file gave: its bytes, or why it could not be read, or neither when there is no such file.
struct FileContents {
    std::optional<std::string> bytes;
    std::optional<FileError> error;
};

/// Reads a whole regular file of at most `maxBytes`; anything larger or of another kind is an error. Links
/// are followed, and opening never waits.
FileContents readWholeFile(const std::string& path, std::size_t maxBytes);

/// A file that is written piece by piece beside another and takes its place once it is whole, mode 0600:
/// whoever reads it, after a crash too, finds the old contents or the new ones, never a mixture. What a
/// killed writer left beside goes when the same user writes the file again. A symbolic link to a file stays
/// and its target is replaced. For one thread.
class AtomicFile {
public:
    /// Begins the file that is to replace the one at `path`. While it lives no other object of the same user,
    /// in whichever process, can do so: that fails at once with the code EWOULDBLOCK.
    explicit AtomicFile(const std::string& path);

    /// Leaves the old file as it is, and nothing beside it, unless the new one was committed.
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    /// Appends the bytes. False after a failure (a full disk, a folder that may not be written), which
    /// `commit` returns; nothing is written any more then.
    bool write(std::string_view bytes);

    /// Replaces the old file, or returns the first failure of all that was tried. At most once.
    [[nodiscard]] std::optional<FileError> commit();

private:
    std::string target_;
    std::string temporary_;  ///< what is to be removed at the end; empty when nothing is
    Descriptor file_;
    std::optional<FileError> error_;
};

/// Replaces the file by one with these bytes, as `AtomicFile` does.
[[nodiscard]] std::optional<FileError> writeFileAtomically(const std::string& path, std::string_view bytes);

/// The exclusive lock of a lock file, held until the object goes: one holder at a time among all processes
/// and all objects of one process. The system releases the lock of a process that dies. The file stays,
/// because removing it would let two processes lock two files of one name.
class FileLock {
public:
    /// Waits for the lock; makes the lock file (mode 0600) when it is not there.
    static std::variant<FileLock, FileError> acquire(const std::string& path);

private:
    explicit FileLock(Descriptor file) : file_(std::move(file)) {}

    Descriptor file_;
};

}  // namespace dovra
