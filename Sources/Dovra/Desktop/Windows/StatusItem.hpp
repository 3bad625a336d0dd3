#pragma once

#include <QMenu>
#include <QSystemTrayIcon>
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
    void fillSaved(QMenu& menu, std::vector<MenuItem>& shown);
    void perform(const MenuItem& item);
    void watchForHost();
    /// A status area on the session's bus draws the menu itself.
    void setHost(bool isOnBus);

    AppDelegate& app_;
    PanelWindow& panel_;
    QMenu menu_;
    MenuTextWriter write_ = menuText;
    std::vector<MenuItem> items_;  ///< in the menu
    std::unique_ptr<QSystemTrayIcon> icon_;
};

}  // namespace dovra
