#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/FileError.hpp"

namespace dovra {

/// What reading a file gave: its bytes, or why it could not be read, or neither when there is no such file.
struct FileContents {
    std::optional<std::string> bytes;
    std::optional<FileError> error;
};

/// Reads a whole regular file of at most `maxBytes`; anything larger or of another kind is an error. Links
/// are followed, and opening never waits.
FileContents readWholeFile(const std::string& path, std::size_t maxBytes);

/// Replaces the file by one with these bytes, mode 0600: whoever reads it, after a crash too, finds the old
/// contents or the new ones, never a mixture. A symbolic link to a file stays and its target is replaced. On
/// failure (a full disk, a folder that may not be written) the old file is untouched and nothing is left
/// beside it; the error is returned.
[[nodiscard]] std::optional<FileError> writeFileAtomically(const std::string& path, std::string_view bytes);

}  // namespace dovra
