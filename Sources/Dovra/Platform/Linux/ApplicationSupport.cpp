#include "Platform/ApplicationSupport.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>

#include "Platform/Paths.hpp"

namespace dovra {

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
