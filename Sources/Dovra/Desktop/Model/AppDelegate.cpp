#include "Desktop/Model/AppDelegate.hpp"

#include <chrono>
#include <utility>

#include "Base/Utf8.hpp"

namespace dovra {

namespace {

constexpr std::chrono::seconds patienceAtTheEnd{2};

}  // namespace

void AppDelegate::launch(const LaunchRequest& request) {
    services_->start();
    if (request.query) viewModel_->setQuery(*request.query);
    if (!request.isQuiet) showPanel();
}

void AppDelegate::handle(const LaunchRequest& request) {
    if (request.query) {
        showQuery(*request.query);
    } else if (request.toggles) {
        togglePanel();
    } else if (!request.isQuiet) {
        showPanel();
    }
}

void AppDelegate::togglePanel() {
    if (windows_.isPanelVisible()) {
        windows_.hidePanel();
    } else {
        showPanel();
    }
}

void AppDelegate::showQuery(std::string query) {
    viewModel_->setQuery(std::move(query));
    showPanel();
}

MenuState AppDelegate::menuState() const {
    return {.usesTrigram = usesTrigram_,
            .savedSearches = services_->savedSearches().items(),
            .query = viewModel_->state().query};
}

void AppDelegate::perform(const MenuItem& item) {
    switch (item.action) {
        case MenuAction::none:
            return;
        case MenuAction::showPanel:
            return showPanel();
        case MenuAction::findDuplicates:
            return showQuery(duplicatesQuery);
        case MenuAction::rebuildIndex:
            return services_->rebuild();
        case MenuAction::toggleTrigram:
            usesTrigram_ = services_->toggleTrigram();
            return;
        case MenuAction::saveCurrentSearch:
            return saveCurrentSearch();
        case MenuAction::applySavedSearch:
            return showQuery(item.object);
        case MenuAction::removeSavedSearch:
            (void)services_->savedSearches().remove(item.object);
            return;
        case MenuAction::quit:
            return windows_.quit();
    }
}

void AppDelegate::saveCurrentSearch() {
    const std::string query(trimmedWhiteSpace(viewModel_->state().query));
    if (query.empty()) return;
    windows_.askForName(SaveDialog(query), [services = services_, query](const std::string& name) {
        services->savedSearches().save(name, query);
    });
}

void AppDelegate::terminate() {
    viewModel_->cancelSearch();
    services_->saveStores();
    // A search that is stuck on a disk holds the index's lock. Then the cache stays as it was.
    if (services_->searchQueue().syncWithin(patienceAtTheEnd)) services_->close();
}

}  // namespace dovra
