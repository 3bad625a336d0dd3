#include "Desktop/Windows/SystemAppearance.hpp"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QGuiApplication>
#include <QPalette>
#include <utility>

namespace dovra {

namespace {

const auto portal = QStringLiteral("org.freedesktop.portal.Desktop");
const auto portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const auto settings = QStringLiteral("org.freedesktop.portal.Settings");
const auto appearanceGroup = QStringLiteral("org.freedesktop.appearance");
const auto colorScheme = QStringLiteral("color-scheme");

}  // namespace

SystemAppearance::SystemAppearance(std::function<void(Appearance)> apply) : apply_(std::move(apply)) {
    const bool isDark = QGuiApplication::palette().window().color().lightness() < 128;
    apply_(isDark ? Appearance::dark : Appearance::light);
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return;
    bus.connect(portal, portalPath, settings, QStringLiteral("SettingChanged"), this,
                SLOT(take(QString, QString, QDBusVariant)));
    auto call = QDBusMessage::createMethodCall(portal, portalPath, settings, QStringLiteral("Read"));
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
