#pragma once

#include <QDBusObjectPath>
#include <QObject>
#include <QString>
#include <QVariantMap>
#include <cstdint>
#include <functional>
#include <map>

#include "Desktop/Model/GlobalHotKey.hpp"
#include "Desktop/Windows/DesktopPortal.hpp"

namespace dovra {

/// Hot keys of desktops whose portal grants them, as those on Wayland. The desktop asks the user, who may
/// choose other keys. A portal that starts anew is asked anew.
class PortalHotKeys : public QObject, public HotKeyService {
    Q_OBJECT

public:
    /// `description` tells the user what the keys do.
    explicit PortalHotKeys(QString description);

    void installHandler(std::function<void(std::uint32_t id)> pressed) override;
    void registerHotKey(std::uint32_t id, std::uint32_t keyCode, std::uint32_t modifiers,
                        std::function<void(bool isRegistered)> answer) override;
    void unregisterHotKey(std::uint32_t id) override;

private:
    /// The portal binds keys once a session, so each has a session of its own.
    struct Binding {
        QString trigger;
        std::function<void(bool isRegistered)> answer;  ///< empty once it is given
        PortalRequest::Pointer request = {};            ///< that is under way
        QString session = {};                           ///< its path; empty while there is none
    };

    void forgetPortal();
    /// Asks a portal that has just come for the keys that the former one granted.
    void greetPortal();
    void openSession(std::uint32_t id);
    void bind(std::uint32_t id);
    void finish(std::uint32_t id, bool isRegistered);
    Q_SLOT void takePress(const QDBusObjectPath& session, const QString& shortcut, qulonglong time,
                          const QVariantMap& options);

    const QString description_;
    bool hearsPresses_ = false;
    std::function<void(std::uint32_t id)> pressed_;
    std::map<std::uint32_t, Binding> bindings_;
};

}  // namespace dovra
