#include "Desktop/Windows/StatusItem.hpp"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <QPointer>
#include <algorithm>

#include "Desktop/Windows/ApplicationIcon.hpp"
#include "Desktop/Windows/X11Session.hpp"

namespace dovra {

namespace {

const auto hostName = QStringLiteral("org.kde.StatusNotifierWatcher");

}  // namespace

StatusItem::StatusItem(AppDelegate& app, PanelWindow& panel) : app_(app), panel_(panel) {
    // Made anew at each opening: searches are saved meanwhile, also by other processes.
    connect(&menu_, &QMenu::aboutToShow, this, [this] {
        fill();
        refresh();
    });
    setHost(false);
    refresh();
    watchForHost();
}

void StatusItem::fill() {
    auto items = statusMenu(app_.menuState());
    // The desktop may still show the former items: only changed ones are replaced.
    if (items == items_) return;
    items_ = std::move(items);
    fillMenu(menu_, items_, write_, [this](const MenuItem& item) { perform(item); });
    const auto saved =
        std::ranges::find_if(items_, [](const MenuItem& item) { return !item.submenu.empty(); });
    savedPlace_ = saved - items_.begin();
    connect(savedMenu(), &QMenu::aboutToShow, this, [this] {
        fillSaved();
        refresh();
    });
}

void StatusItem::fillSaved() {
    auto items = savedSearchesMenu(app_.menuState());
    auto& shown = items_[std::size_t(savedPlace_)].submenu;
    if (items == shown) return;
    shown = std::move(items);
    fillMenu(*savedMenu(), shown, write_, [this](const MenuItem& item) { perform(item); });
}

void StatusItem::refresh() {
    app_.refreshMenuState([self = QPointer(this)] {
        if (self) self->fillSaved();
    });
}

void StatusItem::perform(const MenuItem& item) {
    app_.perform(MenuItem(item));
    // For desktops that do not tell when they open a menu; later, because this one is still in use.
    QMetaObject::invokeMethod(
        this, [this] { fill(); }, Qt::QueuedConnection);
}

void StatusItem::watchForHost() {
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return;
    auto* watcher = new QDBusServiceWatcher(hostName, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) { setHost(!owner.isEmpty()); });
    auto call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameHasOwner"));
    call << hostName;
    auto* pending = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        if (QDBusReply<bool>(*pending).value()) setHost(true);
        pending->deleteLater();
    });
}

void StatusItem::setHost(bool isOnBus) {
    const bool hasHost = isOnBus || X11Session::hasTrayHost();
    write_ = isOnBus ? statusMenuText : menuText;
    items_.clear();
    fill();
    panel_.setMenu(hasHost ? nullptr : &menu_);
    if (!hasHost) {
        icon_.reset();
    } else if (!icon_) {
        // Not before a host is there: the toolkit remembers for ever that there was none.
        icon_ = std::make_unique<QSystemTrayIcon>(statusIcon());
        icon_->setToolTip(QStringLiteral("Dovra"));
        icon_->setContextMenu(&menu_);
        connect(icon_.get(), &QSystemTrayIcon::activated, this, [this](auto reason) {
            if (reason == QSystemTrayIcon::Trigger) app_.togglePanel();
        });
        icon_->show();
    }
}

}  // namespace dovra
