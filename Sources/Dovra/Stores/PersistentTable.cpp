#include "Stores/PersistentTable.hpp"

#include <filesystem>
#include <fmt/format.h>
#include <variant>

#include "Platform/AtomicFile.hpp"
#include "Platform/Paths.hpp"

namespace dovra {

namespace {

namespace fs = std::filesystem;

/// Moves the file to a free name. Returns the name, or an error. A link is moved itself.
std::variant<std::string, FileError> setAside(const std::string& path) {
    constexpr int mostBackups = 99;
    for (int number = 1; number <= mostBackups; ++number) {
        std::string backup = fmt::format("{}.unreadable-{}", path, number);
        if (fs::exists(fs::symlink_status(backup))) continue;
        std::error_code error;
        fs::rename(path, backup, error);
        if (!error) return backup;
        return FileError{fmt::format("cannot set aside {}: {}", path, error.message()), error.value()};
    }
    return FileError{
        fmt::format("cannot set aside {}: {} files like it are kept already", path, mostBackups)};
}

}  // namespace

std::optional<FileError> StoreFile::replace(const Rewritten& rewritten) const {
    if (rewritten.text.size() > maxBytes)
        return FileError{fmt::format("cannot write {}: it would be larger than {} bytes", path_, maxBytes)};
    if (!rewritten.keepsPresent) return writeFileAtomically(path_, rewritten.text);
    const auto backup = setAside(path_);
    if (const auto* error = std::get_if<FileError>(&backup)) return *error;
    auto error = writeFileAtomically(path_, rewritten.text);
    std::error_code ignored;
    if (error) fs::rename(std::get<std::string>(backup), path_, ignored);
    return error;
}

std::optional<FileError> StoreFile::rewrite(const Rewrite& rewrite) const {
    const auto lock = FileLock::acquire(path_ + ".lock");
    if (const auto* error = std::get_if<FileError>(&lock)) return *error;
    return replace(rewrite(read()));
}

std::optional<std::string> storeLocation(std::string_view fileName) {
    auto folder = applicationSupportFolder();
    if (!folder) return std::nullopt;
    return folder->append("/").append(fileName);
}

}  // namespace dovra
