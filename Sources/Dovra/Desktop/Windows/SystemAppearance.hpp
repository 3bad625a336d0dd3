#pragma once

#include <QDBusVariant>
#include <QObject>
#include <QString>
#include <functional>

#include "Base/Theme.hpp"

namespace dovra {

/// Follows the desktop's choice of light or dark windows, by the desktop's portal. Main thread only.
class SystemAppearance : public QObject {
    Q_OBJECT

public:
    /// `apply` is called at once with what the toolkit knows, and whenever the portal tells more.
    explicit SystemAppearance(std::function<void(Appearance)> apply);

private:
    Q_SLOT void take(const QString& group, const QString& key, const QDBusVariant& value);
    void applyChoice(const QVariant& value);

    std::function<void(Appearance)> apply_;
};

}  // namespace dovra
