#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "Platform/Descriptor.hpp"

namespace dovra {

/// A regular file that is open for reading. Never stands for a device, a pipe, a socket
/// or a folder, and opening never waits for a writer. Reading is safe from several threads at once.
class RegularFile {
public:
    /// The file at `path`, of any length; absent when there is none, when it may not be read or when it is
    /// not a regular file.
    static std::optional<RegularFile> open(const std::string& path);

    /// The same where a regular file is known to have been: takes a system call less, and follows no link at
    /// the end of the path.
    static std::optional<RegularFile> openKnown(const std::string& path);

    /// Reads up to `destination.size()` bytes that start at `offset` and returns how many came: 0 at the end
    /// of the file, fewer than asked also in between. Absent when reading fails.
    std::optional<std::size_t> readAt(std::uint64_t offset, std::span<char> destination) const;

    /// Length in bytes when the file was opened.
    std::uint64_t size() const { return size_; }
    /// Device and inode number together identify the file among all names it may have.
    std::uint64_t device() const { return device_; }
    std::uint64_t inode() const { return inode_; }

private:
    explicit RegularFile(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}
    static std::optional<RegularFile> openWith(const std::string& path, int flags);

    Descriptor descriptor_;
    std::uint64_t size_ = 0;
    std::uint64_t device_ = 0;
    std::uint64_t inode_ = 0;
};

}  // namespace dovra
