#include "Desktop/Windows/DesktopWorkspace.hpp"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QGuiApplication>
#include <QMimeData>
#include <QProcess>
#include <filesystem>
#include <system_error>
#include <utility>

#include "Desktop/Windows/ToolkitText.hpp"

namespace dovra {

namespace {

/// The folder that holds the file.
std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

void DesktopWorkspace::open(const std::string& path, Failed failed) {
    // Without a parent, because what it starts may outlive this program. It deletes itself.
    auto* opener = new QProcess;
    opener->setStandardInputFile(QProcess::nullDevice());
    opener->setStandardOutputFile(QProcess::nullDevice());
    opener->setStandardErrorFile(QProcess::nullDevice());
    QObject::connect(opener, &QProcess::errorOccurred, opener,
                     [opener, failed](QProcess::ProcessError error) {
                         if (error != QProcess::FailedToStart) return;
                         failed("Nothing here opens files: xdg-open is not installed");
                         opener->deleteLater();
                     });
    QObject::connect(opener, &QProcess::finished, opener, [opener, path, failed](int status) {
        opener->deleteLater();
        if (status == 0) return;
        std::error_code error;
        const bool isThere = std::filesystem::exists(path, error);
        failed((isThere ? "No application opens “" : "There is no longer “") + path + "”");
    });
    opener->start(QStringLiteral("xdg-open"), {QString::fromLatin1(fileUrl(path).toEncoded())});
}

void DesktopWorkspace::reveal(const std::string& path, Failed failed) {
    auto call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QString::fromLatin1(fileUrl(path).toEncoded())} << QString();
    auto* pending = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call));
    QObject::connect(pending, &QDBusPendingCallWatcher::finished, pending,
                     [this, pending, path, failed = std::move(failed)] {
                         if (pending->isError()) open(folderOf(path), failed);
                         pending->deleteLater();
                     });
}

void DesktopWorkspace::copy(std::string_view text) {
    // As bytes, because a name need not be well-formed.
    auto* data = new QMimeData;
    data->setData(QStringLiteral("text/plain;charset=utf-8"), toolkitBytes(text));
    data->setData(QStringLiteral("text/plain"), toolkitBytes(text));
    QGuiApplication::clipboard()->setMimeData(data);
}

}  // namespace dovra
