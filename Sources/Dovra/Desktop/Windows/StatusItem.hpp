#pragma once

#include <QMenu>
#include <QSystemTrayIcon>
#include <cstddef>
#include <memory>
#include <vector>

#include "Desktop/Model/AppDelegate.hpp"
#include "Desktop/Windows/MenuFilling.hpp"
#include "Desktop/Windows/PanelWindow.hpp"
#include "Desktop/Windows/ToolkitText.hpp"

namespace dovra {

/// The item in the desktop's status area, with the menu of the application. Without such an area, now or yet,
/// the menu opens from a button of the panel. Main thread only.
class StatusItem : public QObject {
public:
    /// Both outlive it.
    StatusItem(AppDelegate& app, PanelWindow& panel);

private:
    void fill();
    QMenu* savedMenu() const { return menu_.actions()[savedPlace_]->menu(); }
    void fillSaved();
    /// Fills the submenu again, also while it is open, once the searches that other processes have saved are
    /// read.
    void refresh();
    void perform(const MenuItem& item);
    void watchForHost();
    /// A status area on the session's bus draws the menu itself.
    void setHost(bool isOnBus);

    AppDelegate& app_;
    PanelWindow& panel_;
    QMenu menu_;
    MenuTextWriter write_ = menuText;
    std::vector<MenuItem> items_;    ///< in the menu
    std::ptrdiff_t savedPlace_ = 0;  ///< among them, of the submenu of saved searches
    std::unique_ptr<QSystemTrayIcon> icon_;
};

}  // namespace dovra
