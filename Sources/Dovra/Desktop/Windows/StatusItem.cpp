#include "Desktop/Windows/StatusItem.hpp"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusReply>
#include <QDBusServiceWatcher>

#include "Desktop/Windows/MenuFilling.hpp"
#include "Desktop/Windows/Symbols.hpp"
#include "Desktop/Windows/X11Session.hpp"

namespace dovra {

namespace {

const auto hostName = QStringLiteral("org.kde.StatusNotifierWatcher");

}  // namespace

StatusItem::StatusItem(AppDelegate& app, PanelWindow& panel) : app_(app), panel_(panel) {
    fill();
    // Made anew at each opening: searches are saved meanwhile, also by other processes.
    connect(&menu_, &QMenu::aboutToShow, this, [this] { fill(); });
    setHasHost(X11Session::hasTrayHost());
    watchForHost();
}

void StatusItem::fill() {
    const auto perform = [this](const MenuItem& item) { app_.perform(item); };
    fillMenu(menu_, statusMenu(app_.menuState()), perform);
    for (QAction* action : menu_.actions()) {
        QMenu* saved = action->menu();
        if (saved == nullptr) continue;
        connect(saved, &QMenu::aboutToShow, this,
                [this, saved, perform] { fillMenu(*saved, savedSearchesMenu(app_.menuState()), perform); });
    }
}

void StatusItem::watchForHost() {
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return;
    auto* watcher = new QDBusServiceWatcher(hostName, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) {
                setHasHost(!owner.isEmpty() || X11Session::hasTrayHost());
            });
    auto call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameHasOwner"));
    call << hostName;
    auto* pending = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        if (QDBusReply<bool>(*pending).value()) setHasHost(true);
        pending->deleteLater();
    });
}

void StatusItem::setHasHost(bool hasHost) {
    panel_.setMenu(hasHost ? nullptr : &menu_);
    if (!hasHost) {
        icon_.reset();
    } else if (!icon_) {
        // Not before a host is there: the toolkit remembers for ever that there was none.
        icon_ = std::make_unique<QSystemTrayIcon>(
            symbolIcon(Symbol::searchCircle, panel_.palette().highlight().color()));
        icon_->setToolTip(QStringLiteral("Dovra"));
        icon_->setContextMenu(&menu_);
        connect(icon_.get(), &QSystemTrayIcon::activated, this, [this](auto reason) {
            if (reason == QSystemTrayIcon::Trigger) app_.togglePanel();
        });
        icon_->show();
    }
}

}  // namespace dovra
