#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace dovra {

/// The desktop around the program: what it does with files for the user. Paths are absolute and raw bytes.
/// Main thread only; no call waits for another program. A failure is told on the main thread, at once or
/// later, by one call of `failed` with a message for the user.
class Workspace {
public:
    using Failed = std::function<void(const std::string& message)>;

    virtual ~Workspace() = default;

    /// Opens a file with the desktop's default application, a folder in the file manager.
    virtual void open(const std::string& path, Failed failed) = 0;

    /// Shows the file manager with the file or folder selected, or at least the folder that holds it.
    virtual void reveal(const std::string& path, Failed failed) = 0;

    /// Puts a text on the clipboard, byte for byte.
    virtual void copy(std::string_view text) = 0;
};

}  // namespace dovra
