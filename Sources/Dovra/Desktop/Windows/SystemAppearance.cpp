#include "Desktop/Windows/SystemAppearance.hpp"

#include <QDBusConnection>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QGuiApplication>
#include <QPalette>
#include <utility>

#include "Desktop/Windows/DesktopPortal.hpp"

namespace dovra {

namespace {

constexpr const char* settings = "org.freedesktop.portal.Settings";
const auto appearanceGroup = QStringLiteral("org.freedesktop.appearance");
const auto colorScheme = QStringLiteral("color-scheme");

}  // namespace

SystemAppearance::SystemAppearance(std::function<void(Appearance)> apply) : apply_(std::move(apply)) {
    const bool isDark = QGuiApplication::palette().window().color().lightness() < 128;
    apply_(isDark ? Appearance::dark : Appearance::light);
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return;
    bus.connect(QString::fromLatin1(DesktopPortal::busName), QString(), QString::fromLatin1(settings),
                QStringLiteral("SettingChanged"), this, SLOT(take(QString, QString, QDBusVariant)));
    auto call = DesktopPortal::call(settings, "Read");
    call << appearanceGroup << colorScheme;
    auto* pending = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        const QDBusPendingReply<QDBusVariant> reply = *pending;
        if (!reply.isError()) applyChoice(reply.value().variant());
        pending->deleteLater();
    });
}

void SystemAppearance::take(const QString& group, const QString& key, const QDBusVariant& value) {
    if (group == appearanceGroup && key == colorScheme) applyChoice(value.variant());
}

void SystemAppearance::applyChoice(const QVariant& value) {
    // The portal's older answer is wrapped twice. 1 is dark, 2 light, 0 no choice.
    const bool isWrapped = value.canConvert<QDBusVariant>();
    const uint choice = (isWrapped ? value.value<QDBusVariant>().variant() : value).toUInt();
    if (choice == 1) apply_(Appearance::dark);
    if (choice == 2) apply_(Appearance::light);
}

}  // namespace dovra
