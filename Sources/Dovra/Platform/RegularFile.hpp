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
    /// What to do when the last component of the path is a symbolic link.
    enum class Links : bool { follow, refuse };

    /// The file at `path`, of any length; absent when there is none, when it may not be read or when it is
    /// not a regular file.
    static std::optional<RegularFile> open(const std::string& path, Links links = Links::follow);

    /// The file at `path` from the folder `root`, which it stays below: no symbolic link is followed on the
    /// way, only on that to the root, and ".." does not lead out. Absent as with `open`, and where the system
    /// cannot promise that (Linux before 5.6, and sandboxes that forbid `openat2`).
    static std::optional<RegularFile> openBelow(const std::string& root, const std::string& path);

    /// Reads up to `destination.size()` bytes that start at `offset` and returns how many came: 0 at the end
    /// of the file, fewer than asked also in between. Absent when reading fails.
    std::optional<std::size_t> readAt(std::uint64_t offset, std::span<char> destination) const;

    /// Length in bytes when the file was opened.
    std::uint64_t size() const { return size_; }
    /// Device and inode number together identify the file among all names it may have.
    std::uint64_t device() const { return device_; }
    std::uint64_t inode() const { return inode_; }
    /// How many names the file has on its file system.
    std::uint64_t linkCount() const { return linkCount_; }

private:
    explicit RegularFile(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}
    /// Absent when what is open is no regular file.
    static std::optional<RegularFile> checked(Descriptor descriptor);

    Descriptor descriptor_;
    std::uint64_t size_ = 0;
    std::uint64_t device_ = 0;
    std::uint64_t inode_ = 0;
    std::uint64_t linkCount_ = 0;
};

}  // namespace dovra
