#include "Desktop/Windows/DesktopPortal.hpp"

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QGuiApplication>
#include <utility>

namespace dovra {

namespace {

const auto desktopPath = QStringLiteral("/org/freedesktop/portal/desktop");

/// The name of this program's next request. Its object is known before the call, so that no answer is missed.
QString nextToken() {
    static int number = 0;
    return QStringLiteral("dovra%1").arg(++number);
}

QString requestPath(const QString& token) {
    const QString sender =
        QDBusConnection::sessionBus().baseService().mid(1).replace(QLatin1Char('.'), QLatin1Char('_'));
    return desktopPath + QStringLiteral("/request/%1/%2").arg(sender, token);
}

}  // namespace

QDBusMessage DesktopPortal::call(const char* interface, const char* method) {
    return QDBusMessage::createMethodCall(QString::fromLatin1(busName), desktopPath,
                                          QString::fromLatin1(interface), QString::fromLatin1(method));
}

void DesktopPortal::introduce() {
    auto message = call("org.freedesktop.host.portal.Registry", "Register");
    message << QGuiApplication::desktopFileName() << QVariantMap();
    // Older portals know no such call, and find out by themselves.
    QDBusConnection::sessionBus().asyncCall(message);
}

void PortalRequest::Canceling::operator()(PortalRequest* request) const {
    request->done_ = nullptr;
    // Later, because it may be the one that calls.
    request->deleteLater();
}

PortalRequest::Pointer PortalRequest::send(QDBusMessage call, QVariantMap options, Done done) {
    Pointer request(new PortalRequest(std::move(done)));
    request->start(std::move(call), std::move(options));
    return request;
}

bool PortalRequest::listenAt(const QString& path) {
    return QDBusConnection::sessionBus().connect(
        QString::fromLatin1(DesktopPortal::busName), path, QStringLiteral("org.freedesktop.portal.Request"),
        QStringLiteral("Response"), this, SLOT(takeResponse(uint, QVariantMap)));
}

void PortalRequest::start(QDBusMessage call, QVariantMap options) {
    const QString token = nextToken();
    const QString path = requestPath(token);
    if (!listenAt(path)) {
        QMetaObject::invokeMethod(
            this, [this] { finish(std::nullopt); }, Qt::QueuedConnection);
        return;
    }
    options.insert(QStringLiteral("handle_token"), token);
    call << options;
    auto* pending = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending, path] {
        const QDBusPendingReply<QDBusObjectPath> reply = *pending;
        pending->deleteLater();
        // Very old portals choose another object.
        if (reply.isError() || (reply.value().path() != path && !listenAt(reply.value().path())))
            finish(std::nullopt);
    });
}

void PortalRequest::finish(const std::optional<QVariantMap>& results) {
    if (const Done done = std::exchange(done_, nullptr)) done(results);
}

void PortalRequest::takeResponse(uint response, const QVariantMap& results) {
    finish(response == 0 ? std::optional(results) : std::nullopt);
}

}  // namespace dovra
