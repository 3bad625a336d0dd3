#include "Desktop/Windows/ApplicationIcon.hpp"

#include <QDir>
#include <QFileInfo>

#include "Desktop/Windows/InstanceService.hpp"

namespace dovra {

QIcon applicationIcon() {
    QIcon icon;
    for (const QFileInfo& picture : QDir(QStringLiteral(":/icons")).entryInfoList())
        icon.addFile(picture.filePath());
    return icon;
}

QIcon statusIcon() {
    const QString installed = QString::fromLatin1(InstanceService::busName) + QStringLiteral("-symbolic");
    return QIcon::fromTheme(installed, applicationIcon());
}

}  // namespace dovra
