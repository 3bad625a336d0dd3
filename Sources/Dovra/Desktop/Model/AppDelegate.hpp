#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Desktop/Model/LaunchOptions.hpp"
#include "Desktop/Model/SearchViewModel.hpp"
#include "Desktop/Model/StatusMenu.hpp"
#include "Services/AppServices.hpp"

namespace dovra {

/// The windows of the application, as far as menus and keys direct them. Main thread only.
class AppWindows {
public:
    virtual ~AppWindows() = default;

    /// Shows the panel in the middle of the current workspace, in front, with the keyboard.
    virtual void showPanel() = 0;
    virtual void hidePanel() = 0;
    /// Whether it is on screen, with the keyboard or without.
    virtual bool isPanelVisible() const = 0;

    /// Shows the dialog and returns. `save` is called with the name as typed if the user agrees.
    virtual void askForName(const SaveDialog& dialog, std::function<void(const std::string& name)> save) = 0;

    /// Ends the event loop.
    virtual void quit() = 0;
};

/// The desktop application without its windows: the actions of the status menu, of the hot key and of a
/// further start of the program, and an orderly end. Main thread only.
class AppDelegate {
public:
    static constexpr std::uint32_t hotKeyCode = 49;         ///< the space bar
    static constexpr std::uint32_t hotKeyModifiers = 2048;  ///< the option key
    static constexpr const char* duplicatesQuery = "dupe:content";

    /// `windows` outlives this. `usesTrigram` tells how the services were made.
    AppDelegate(std::shared_ptr<AppServices> services, std::shared_ptr<SearchViewModel> viewModel,
                AppWindows& windows, bool usesTrigram)
        : services_(std::move(services)),
          viewModel_(std::move(viewModel)),
          windows_(windows),
          usesTrigram_(usesTrigram) {}

    /// The last steps of a launch, once windows, status item and hot key are there: starts the services,
    /// takes the query and shows the panel, also when the request is to toggle it. A quiet one alone does
    /// not.
    void launch(const LaunchRequest& request);

    /// Does what a further start of the program asked for.
    void handle(const LaunchRequest& request);

    void showPanel() { windows_.showPanel(); }
    void togglePanel();

    /// What the menus depend on, as far as this process knows.
    MenuState menuState() const;
    /// Reads in the background what other processes have saved. `refreshed` is called when the menus' state
    /// has it.
    void refreshMenuState(std::function<void()> refreshed) {
        services_->refreshSavedSearches(std::move(refreshed));
    }
    void perform(const MenuItem& item);

    /// Gives up searching, and saves the stores and the index. Nothing may be called afterwards.
    void terminate();

private:
    void showQuery(std::string query);
    void saveCurrentSearch();

    const std::shared_ptr<AppServices> services_;
    const std::shared_ptr<SearchViewModel> viewModel_;
    AppWindows& windows_;
    bool usesTrigram_;
};

}  // namespace dovra
