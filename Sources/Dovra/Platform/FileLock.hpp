#pragma once

#include <string>
#include <utility>
#include <variant>

#include "Platform/Descriptor.hpp"
#include "Platform/FileError.hpp"

namespace dovra {

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
