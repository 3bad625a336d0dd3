#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Stores/SavedSearchStore.hpp"

namespace dovra {

enum class MenuAction : std::uint8_t {
    none,
    showPanel,
    findDuplicates,
    rebuildIndex,
    toggleTrigram,
    saveCurrentSearch,
    applySavedSearch,   ///< its object is the query
    removeSavedSearch,  ///< its object is the name
    quit,
};

/// One line of a menu.
struct MenuItem {
    std::string title;  ///< empty for a line that separates
    MenuAction action = MenuAction::none;
    std::string object = {};   ///< what the action is about, as stored
    std::string toolTip = {};  ///< safe to show, as the title is
    bool isEnabled = true;
    std::optional<bool> isChecked = {};  ///< absent for an item without a check mark
    std::string_view keyEquivalent = {};
    std::vector<MenuItem> submenu = {};

    bool operator==(const MenuItem&) const = default;
};

/// What the menus depend on.
struct MenuState {
    bool usesTrigram = false;
    std::vector<SavedSearch> savedSearches;
    std::string query;  ///< in the search field
};

/// The menu of the status item. It is made anew at each opening, as is its submenu of saved searches.
std::vector<MenuItem> statusMenu(const MenuState& state);
std::vector<MenuItem> savedSearchesMenu(const MenuState& state);

/// The dialog that asks for the name of a search to be saved.
struct SaveDialog {
    std::string_view message = "Save Search";
    std::string_view informativeText = "Name this search so you can re-run it later.";
    std::string_view placeholder = "Search name";
    std::string_view saveButton = "Save";
    std::string_view cancelButton = "Cancel";
    std::string name;  ///< in the field at first: the beginning of the query

    explicit SaveDialog(std::string_view trimmedQuery);
};

}  // namespace dovra
