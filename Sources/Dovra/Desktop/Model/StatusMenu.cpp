#include "Desktop/Model/StatusMenu.hpp"

#include <fmt/format.h>

#include "Base/ShownText.hpp"
#include "Base/Utf8.hpp"
#include "Platform/PlatformWords.hpp"

namespace dovra {

std::vector<MenuItem> savedSearchesMenu(const MenuState& state) {
    std::vector<MenuItem> menu;
    std::vector<MenuItem> removals;
    for (const auto& [name, query] : state.savedSearches) {
        menu.push_back({.title = shownText(name),
                        .action = MenuAction::applySavedSearch,
                        .object = query,
                        .toolTip = shownText(query)});
        removals.push_back(
            {.title = shownText(name), .action = MenuAction::removeSavedSearch, .object = name});
    }
    if (menu.empty()) {
        menu.push_back({.title = "No Saved Searches", .isEnabled = false});
    } else {
        menu.push_back({});
        menu.push_back({.title = "Remove Saved Search", .submenu = std::move(removals)});
    }
    menu.push_back({});
    menu.push_back({.title = "Save Current Search…",
                    .action = MenuAction::saveCurrentSearch,
                    .isEnabled = !trimmedWhiteSpace(state.query).empty()});
    return menu;
}

std::vector<MenuItem> statusMenu(const MenuState& state) {
    return {
        {.title = fmt::format("Show Search  ({})", words::hotKey), .action = MenuAction::showPanel},
        {.title = "Find Duplicate Files", .action = MenuAction::findDuplicates},
        {.title = "Saved Searches", .submenu = savedSearchesMenu(state)},
        {},
        {.title = "Rebuild Index", .action = MenuAction::rebuildIndex},
        {.title = "Fast Regex & Similarity (more memory)",
         .action = MenuAction::toggleTrigram,
         .isChecked = state.usesTrigram},
        {},
        {.title = "Quit Dovra", .action = MenuAction::quit, .keyEquivalent = "q"},
    };
}

SaveDialog::SaveDialog(std::string_view trimmedQuery) : name(firstCharacters(repairUtf8(trimmedQuery), 40)) {}

}  // namespace dovra
