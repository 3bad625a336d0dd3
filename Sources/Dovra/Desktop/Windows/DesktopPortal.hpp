#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QVariantMap>
#include <functional>
#include <memory>
#include <optional>

namespace dovra {

/// The desktop's portal: the services that a desktop offers to programs of any kind, on the session's bus.
struct DesktopPortal {
    static constexpr const char* busName = "org.freedesktop.portal.Desktop";

    static QDBusMessage call(const char* interface, const char* method);

    /// Tells a portal that asks for it which application this is. A portal takes this only as the first call
    /// of a program.
    static void introduce();
};

/// A call to the portal whose answer comes in a signal, when the user has decided. Main thread only.
class PortalRequest : public QObject {
    Q_OBJECT

public:
    /// The results; absent when the portal or the user refuses.
    using Done = std::function<void(const std::optional<QVariantMap>& results)>;

    struct Canceling {
        void operator()(PortalRequest* request) const;
    };
    using Pointer = std::unique_ptr<PortalRequest, Canceling>;

    /// Sends the call, to which the options are added as the last argument. `done` is called once, later,
    /// but not once the pointer is gone. It may let go of the pointer itself.
    static Pointer send(QDBusMessage call, QVariantMap options, Done done);

private:
    explicit PortalRequest(Done done) : done_(std::move(done)) {}

    bool listenAt(const QString& path);
    void start(QDBusMessage call, QVariantMap options);
    void finish(const std::optional<QVariantMap>& results);
    Q_SLOT void takeResponse(uint response, const QVariantMap& results);

    Done done_;
};

}  // namespace dovra
