#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "Platform/Descriptor.hpp"

namespace dovra {

/// A regular file that is open for reading, never a device, a pipe, a socket or a folder. Opening never waits
/// for a writer. Several threads may read at once.
class RegularFile {
public:
    /// Opens the file at `path`, which may have any length. Absent when there is none, when it may not be
    /// read and when it is not a regular file.
    static std::optional<RegularFile> open(const std::string& path);

    /// Does the same where a regular file was seen before: with a system call less, and without following a
    /// link at the end of the path.
    static std::optional<RegularFile> openKnown(const std::string& path);

    /// Opens the file at `path`, relative to the folder `root`, and stays below that folder: no symbolic link
    /// is followed on the way, only on the way to the root, and ".." does not lead out. Absent as with
    /// `open`, and where the system cannot promise this (Linux before 5.6, sandboxes that forbid `openat2`).
    static std::optional<RegularFile> openBelow(const std::string& root, const std::string& path);

    /// Reads up to `destination.size()` bytes from `offset` on. Returns the number of bytes: 0 at the end of
    /// the file, sometimes fewer than requested before it. Absent when reading fails.
    std::optional<std::size_t> readAt(std::uint64_t offset, std::span<char> destination) const;

    /// The length in bytes at the time of opening.
    std::uint64_t size() const { return size_; }
    /// The time of the last change of the contents before opening, in whole seconds since 1970.
    std::int64_t modified() const { return modified_; }
    /// Device and inode number together identify the file among all its names.
    std::uint64_t device() const { return device_; }
    std::uint64_t inode() const { return inode_; }

    /// For handing the file to another process, which can seek in it.
    const Descriptor& descriptor() const { return descriptor_; }

private:
    explicit RegularFile(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}
    /// Absent when the open file is not a regular one.
    static std::optional<RegularFile> checked(Descriptor descriptor);

    Descriptor descriptor_;
    std::uint64_t size_ = 0;
    std::int64_t modified_ = 0;
    std::uint64_t device_ = 0;
    std::uint64_t inode_ = 0;
};

}  // namespace dovra
