#include "Desktop/Windows/InstanceService.hpp"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>

#include "Desktop/Windows/ActivationRight.hpp"
#include "Desktop/Windows/ToolkitText.hpp"

namespace dovra {

namespace {

constexpr const char* interfaceName = "org.freedesktop.Application";
constexpr const char* queryAction = "query";
constexpr const char* toggleAction = "toggle";

QDBusMessage callFor(const LaunchRequest& request) {
    const bool isPlain = !request.query && !request.toggles;
    auto call = QDBusMessage::createMethodCall(
        QString::fromLatin1(InstanceService::busName), QString::fromLatin1(InstanceService::objectPath),
        QString::fromLatin1(interfaceName),
        isPlain ? QStringLiteral("Activate") : QStringLiteral("ActivateAction"));
    if (!isPlain) {
        QVariantList parameters;
        // Bytes, because a query need not be well-formed.
        if (request.query) parameters += toolkitBytes(*request.query);
        call << QString::fromLatin1(request.query ? queryAction : toggleAction);
        call << QVariant(parameters);
    }
    call << ActivationRight::ofThisStart();
    return call;
}

/// The request of a call; absent when it is none.
std::optional<LaunchRequest> requestOf(const QDBusMessage& message) {
    const QVariantList arguments = message.arguments();
    if (message.member() == u"Activate" && arguments.size() == 1) return LaunchRequest{};
    if (message.member() != u"ActivateAction" || arguments.size() != 3) return std::nullopt;
    if (arguments[0].toString() == QLatin1String(toggleAction)) return LaunchRequest{.toggles = true};
    const auto parameters = qdbus_cast<QVariantList>(arguments[1]);
    if (arguments[0].toString() != QLatin1String(queryAction) || parameters.size() != 1) return std::nullopt;
    return LaunchRequest{.query = parameters[0].toByteArray().toStdString()};
}

}  // namespace

bool InstanceService::handOver(const LaunchRequest& request) {
    const QString name = QStringLiteral("hand over");
    bool isHandedOver = false;
    {
        auto bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
        if (bus.isConnected() && bus.interface()->isServiceRegistered(QString::fromLatin1(busName)))
            isHandedOver = bus.call(callFor(request)).type() == QDBusMessage::ReplyMessage;
    }
    QDBusConnection::disconnectFromBus(name);
    return isHandedOver;
}

bool InstanceService::claim() {
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return true;
    // First the object: calls may come as soon as the name is there.
    bus.registerVirtualObject(QString::fromLatin1(objectPath), this);
    return bus.registerService(QString::fromLatin1(busName));
}

QString InstanceService::introspect(const QString&) const {
    return QStringLiteral(R"(<interface name="org.freedesktop.Application">
  <method name="Activate"><arg type="a{sv}" direction="in"/></method>
  <method name="ActivateAction"><arg type="s" direction="in"/><arg type="av" direction="in"/>
    <arg type="a{sv}" direction="in"/></method>
</interface>)");
}

bool InstanceService::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    if (message.interface() != QLatin1String(interfaceName)) return false;
    const auto request = requestOf(message);
    if (!request) return false;
    connection.send(message.createReply());
    ActivationRight::take(qdbus_cast<QVariantMap>(message.arguments().last()));
    handle_(*request);
    return true;
}

}  // namespace dovra
