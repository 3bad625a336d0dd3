#pragma once

#include <functional>

namespace dovra {

/// What the toolkit tells on standard error, and the ends of the process that it decides on: when it finds no
/// display, and when the display goes away. They become one line and status 1, without a core dump.
/// One at a time; it stays until the toolkit's threads have ended.
class ToolkitMessages {
public:
    ToolkitMessages();
    ~ToolkitMessages();
    ToolkitMessages(const ToolkitMessages&) = delete;
    ToolkitMessages& operator=(const ToolkitMessages&) = delete;

    /// The display is found. From now on `finishing` is called before such an end, on any thread, to save
    /// what is to be saved.
    static void displayIsFound(std::function<void()> finishing);
};

}  // namespace dovra
