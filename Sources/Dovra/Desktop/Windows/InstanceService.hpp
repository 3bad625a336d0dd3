#pragma once

#include <QDBusVirtualObject>
#include <functional>

#include "Desktop/Model/LaunchOptions.hpp"

namespace dovra {

/// The one running desktop application of a session, as other programs and further starts reach it: over the
/// session's bus, with the interface that desktops use to activate applications. Main thread only.
class InstanceService : public QDBusVirtualObject {
public:
    static constexpr const char* busName = "org.dovra.Dovra";
    static constexpr const char* objectPath = "/org/dovra/Dovra";

    /// Hands the request to the application that runs already. False when there is none, or no bus. Works
    /// without a display.
    static bool handOver(const LaunchRequest& request);

    explicit InstanceService(std::function<void(const LaunchRequest&)> handle) : handle_(std::move(handle)) {}

    /// Makes this the running application. False when another one was faster. Without a bus, nobody else can
    /// be found, and it runs alone.
    bool claim();

protected:
    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    std::function<void(const LaunchRequest&)> handle_;
};

}  // namespace dovra
