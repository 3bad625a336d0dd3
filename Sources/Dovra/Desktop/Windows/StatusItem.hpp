#pragma once

#include <QMenu>
#include <QSystemTrayIcon>
#include <memory>
#include <vector>

#include "Desktop/Model/AppDelegate.hpp"
#include "Desktop/Windows/PanelWindow.hpp"

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
    void setHasHost(bool hasHost);

    AppDelegate& app_;
    PanelWindow& panel_;
    QMenu menu_;
    std::vector<MenuItem> items_;  ///< in the menu
    std::unique_ptr<QSystemTrayIcon> icon_;
};

}  // namespace dovra
