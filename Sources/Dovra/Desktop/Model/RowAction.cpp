#include "Desktop/Model/RowAction.hpp"

#include <fmt/format.h>

#include "Platform/PlatformWords.hpp"

namespace dovra {

std::vector<RowActionItem> rowActionItems() {
    return {
        {RowAction::open, "Open", "Return"},
        {RowAction::reveal, fmt::format("Reveal in {}", words::fileManager), "Ctrl+Return"},
        {RowAction::copyName, "Copy Name", "Ctrl+Shift+C"},
        {RowAction::copyPath, "Copy Path", "Ctrl+Alt+C"},
    };
}

}  // namespace dovra
