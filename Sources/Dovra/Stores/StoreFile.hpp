#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Platform/AtomicFile.hpp"

namespace dovra {

/// The file of a user store, which several processes may read and rewrite. A rewrite reads the file and
/// replaces it while a lock file beside it is held, so that none undoes another's. Any thread.
class StoreFile {
public:
    /// More than any store holds; a file beyond it is not read, and none is written.
    static constexpr std::size_t maxBytes = std::size_t{16} * 1024 * 1024;

    explicit StoreFile(std::string path) : path_(std::move(path)) {}

    const std::string& path() const { return path_; }

    FileContents read() const { return readWholeFile(path_, maxBytes); }

    struct Rewritten {
        std::string text;
        /// Whether the present file holds something that the text does not take over: it is kept beside,
        /// under the first free name of path + ".unreadable-1" to "-99".
        bool keepsPresent = false;
    };
    using Rewrite = std::function<Rewritten(const FileContents& present)>;

    /// Replaces the file by what `rewrite` makes of it. On failure the present file stays in its place and
    /// the error is returned.
    [[nodiscard]] std::optional<FileError> rewrite(const Rewrite& rewrite) const;

private:
    std::optional<FileError> replace(const Rewritten& rewritten) const;

    std::string path_;
};

/// The path of a store's file in the folder that the program keeps its files in; absent when there is no such
/// folder.
std::optional<std::string> storeLocation(std::string_view fileName);

}  // namespace dovra
