#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace dovra {

/// What a user can do with a row.
enum class RowAction : std::uint8_t { open, reveal, copyName, copyPath };

/// An item of a row's context menu.
struct RowActionItem {
    RowAction action;
    std::string title;
    std::string_view shortcut;  ///< such as "Ctrl+Return"
};

/// In the order of the menu.
std::vector<RowActionItem> rowActionItems();

}  // namespace dovra
