#include "Desktop/Windows/PortalHotKeys.hpp"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMetaType>
#include <QDBusServiceWatcher>
#include <algorithm>
#include <utility>

#include "Desktop/Windows/ActivationRight.hpp"
#include "Desktop/Windows/ToolkitText.hpp"
#include "Platform/KeyCodes.hpp"

namespace dovra {

/// A shortcut as it is sent to the portal and back.
struct PortalShortcut {
    QString name;
    QVariantMap properties;
};

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut) {
    argument.beginStructure();
    argument << shortcut.name << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut) {
    argument.beginStructure();
    argument >> shortcut.name >> shortcut.properties;
    argument.endStructure();
    return argument;
}

namespace {

constexpr const char* shortcuts = "org.freedesktop.portal.GlobalShortcuts";

/// The same at each start, because the desktop remembers the user's choice under it.
QString shortcutName(std::uint32_t id) {
    return QStringLiteral("hot-key-%1").arg(id);
}

bool isGranted(const QVariant& granted, const QString& name) {
    const auto argument = granted.value<QDBusArgument>();
    if (argument.currentSignature() != u"a(sa{sv})") return false;
    const auto all = qdbus_cast<QList<PortalShortcut>>(argument);
    return std::ranges::any_of(all, [&](const auto& shortcut) { return shortcut.name == name; });
}

}  // namespace

PortalHotKeys::PortalHotKeys(QString description) : description_(std::move(description)) {
    qRegisterMetaType<QDBusObjectPath>();
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
    auto bus = QDBusConnection::sessionBus();
    const auto portal = QString::fromLatin1(DesktopPortal::busName);
    hearsPresses_ =
        bus.connect(portal, QString(), QString::fromLatin1(shortcuts), QStringLiteral("Activated"), this,
                    SLOT(takePress(QDBusObjectPath, QString, qulonglong, QVariantMap)));
    auto* watcher = new QDBusServiceWatcher(portal, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString& former, const QString& owner) {
                if (!former.isEmpty()) forgetPortal();
                if (!owner.isEmpty()) greetPortal();
            });
}

void PortalHotKeys::installHandler(std::function<void(std::uint32_t id)> pressed) {
    pressed_ = std::move(pressed);
}

void PortalHotKeys::registerHotKey(std::uint32_t id, std::uint32_t keyCode, std::uint32_t modifiers,
                                   std::function<void(bool isRegistered)> answer) {
    const auto key = systemHotKey(keyCode, modifiers);
    if (!key || !hearsPresses_) return answer(false);
    bindings_.emplace(id, Binding{.trigger = toolkitText(key->trigger), .answer = std::move(answer)});
    openSession(id);
}

void PortalHotKeys::unregisterHotKey(std::uint32_t id) {
    const auto found = bindings_.find(id);
    if (found == bindings_.end()) return;
    if (const QString& session = found->second.session; !session.isEmpty())
        QDBusConnection::sessionBus().send(QDBusMessage::createMethodCall(
            QString::fromLatin1(DesktopPortal::busName), session,
            QStringLiteral("org.freedesktop.portal.Session"), QStringLiteral("Close")));
    bindings_.erase(found);
}

void PortalHotKeys::forgetPortal() {
    for (auto& [id, binding] : bindings_) {
        binding.request.reset();
        binding.session.clear();
    }
}

void PortalHotKeys::greetPortal() {
    // A portal that the requests themselves have started has them already.
    const auto isLost = [](const auto& entry) {
        return !entry.second.request && entry.second.session.isEmpty();
    };
    if (std::ranges::none_of(bindings_, isLost)) return;
    DesktopPortal::introduce();
    for (const auto& entry : bindings_)
        if (isLost(entry)) openSession(entry.first);
}

void PortalHotKeys::openSession(std::uint32_t id) {
    const QVariantMap options{{QStringLiteral("session_handle_token"), QStringLiteral("dovra%1").arg(id)}};
    bindings_.at(id).request = PortalRequest::send(
        DesktopPortal::call(shortcuts, "CreateSession"), options, [this, id](const auto& results) {
            const QVariant session = results ? results->value(QStringLiteral("session_handle")) : QVariant();
            // A text in today's portals, against their own description.
            QString& path = bindings_.at(id).session;
            path = session.toString();
            if (path.isEmpty()) path = session.value<QDBusObjectPath>().path();
            if (path.isEmpty()) return finish(id, false);
            bind(id);
        });
}

void PortalHotKeys::bind(std::uint32_t id) {
    Binding& binding = bindings_.at(id);
    const QString name = shortcutName(id);
    const PortalShortcut shortcut{name,
                                  {{QStringLiteral("description"), description_},
                                   {QStringLiteral("preferred_trigger"), binding.trigger}}};
    auto call = DesktopPortal::call(shortcuts, "BindShortcuts");
    call << QVariant::fromValue(QDBusObjectPath(binding.session))
         << QVariant::fromValue(QList<PortalShortcut>{shortcut}) << QString();
    binding.request = PortalRequest::send(call, {}, [this, id, name](const auto& results) {
        finish(id, results && isGranted(results->value(QStringLiteral("shortcuts")), name));
    });
}

void PortalHotKeys::finish(std::uint32_t id, bool isRegistered) {
    Binding& binding = bindings_.at(id);
    binding.request.reset();
    const auto answer = std::exchange(binding.answer, nullptr);
    if (!isRegistered) unregisterHotKey(id);
    if (answer) answer(isRegistered);
}

void PortalHotKeys::takePress(const QDBusObjectPath& session, const QString& shortcut, qulonglong,
                              const QVariantMap& options) {
    const auto found = std::ranges::find_if(bindings_, [&](const auto& entry) {
        return entry.second.session == session.path() && shortcutName(entry.first) == shortcut;
    });
    if (found == bindings_.end()) return;
    ActivationRight::take(
        {{QStringLiteral("activation-token"), options.value(QStringLiteral("activation_token"))}});
    pressed_(found->first);
}

}  // namespace dovra
