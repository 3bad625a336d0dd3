#include "Platform/Paths.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dovra {

namespace {

std::optional<std::string> homeOf(const passwd* user) {
    if (user == nullptr || user->pw_dir == nullptr || user->pw_dir[0] != '/') return std::nullopt;
    return user->pw_dir;
}

std::optional<std::string> homeFolder(const std::string& userName) {
    return userName.empty() ? homeFolderPath() : homeOf(::getpwnam(userName.c_str()));
}

std::string withHomeExpanded(std::string_view path) {
    if (!path.starts_with('~')) return std::string(path);
    const std::size_t end = std::min(path.find('/'), path.size());
    const auto home = homeFolder(std::string(path.substr(1, end - 1)));
    return home ? *home + std::string(path.substr(end)) : std::string(path);
}

std::string withoutDots(std::string_view absolutePath) {
    std::string path = std::filesystem::path(absolutePath).lexically_normal().string();
    path.resize(std::max<std::size_t>(path.find_last_not_of('/') + 1, 1));
    return path;
}

}  // namespace

std::optional<std::string> homeFolderPath() {
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/') return home;
    return homeOf(::getpwuid(::getuid()));
}

std::optional<std::string> standardizedPath(std::string_view path) {
    if (path.empty()) return std::string();
    const std::string expanded = withHomeExpanded(path);
    if (expanded.starts_with('/')) return withoutDots(expanded);
    std::error_code error;
    const std::filesystem::path current = std::filesystem::current_path(error);
    if (error) return std::nullopt;
    return withoutDots(current.string() + "/" + expanded);
}

std::optional<std::string> realPath(const std::string& path) {
    char* resolved = ::realpath(path.c_str(), nullptr);
    if (resolved == nullptr) return std::nullopt;
    std::string result(resolved);
    std::free(resolved);
    return result;
}

namespace {

std::optional<std::string> dataHome() {
    const char* configured = std::getenv("XDG_DATA_HOME");
    if (configured != nullptr && configured[0] == '/') return configured;
    const auto home = homeFolderPath();
    if (!home) return std::nullopt;
    return *home + "/.local/share";
}

/// Makes the folder and the missing folders above it. False when the folder does not exist afterwards.
bool makeFolders(const std::string& path) {
    constexpr mode_t forTheUserAlone = 0700;
    for (std::size_t end = 0; end < path.size();) {
        end = std::min(path.find('/', end + 1), path.size());
        // Failures do not matter here: the last folder is checked below.
        (void)::mkdir(path.substr(0, end).c_str(), forTheUserAlone);
    }
    std::error_code none;
    return std::filesystem::is_directory(path, none);
}

}  // namespace

std::optional<std::string> applicationSupportFolder() {
    const auto parent = dataHome();
    if (!parent) return std::nullopt;
    std::string folder = *parent + "/Dovra";
    if (!makeFolders(folder)) return std::nullopt;
    return folder;
}

}  // namespace dovra
