#include "Desktop/Windows/Snapshot.hpp"

#include <QApplication>
#include <QBuffer>
#include <QFile>
#include <QPainter>
#include <memory>

#include "Base/Print.hpp"
#include "Desktop/Windows/DesktopWorkspace.hpp"
#include "Desktop/Windows/FontCheck.hpp"
#include "Desktop/Windows/MainLoop.hpp"
#include "Desktop/Windows/PanelWindow.hpp"
#include "Desktop/Windows/PreviewWindow.hpp"
#include "Desktop/Windows/ToolkitText.hpp"
#include "Desktop/Windows/WindowTheme.hpp"

namespace dovra {

namespace {

int failed(const std::string& path, const QString& reason) {
    printError("dovra: cannot write {}: {}\n", path, reason.toStdString());
    return 1;
}

bool isSettled(const SearchState& state, bool isEarly) {
    if (isEarly && state.isIndexing) return !state.rows.empty();
    return !state.isIndexing && (state.query.empty() || state.answered == state.query);
}

int save(const QPixmap& picture, QFile& file, const std::string& path) {
    // Encoded in memory: the encoder would report a failed write by itself.
    QBuffer encoded;
    picture.save(&encoded, "PNG");
    if (file.write(encoded.data()) != encoded.size() || !file.flush())
        return failed(path, file.errorString());
    return 0;
}

/// The preview of the panel's selected row.
QPixmap draw(PreviewWindow& preview, const PanelWindow& panel) {
    preview.setAttribute(Qt::WA_DontShowOnScreen);
    preview.present(panel.selectedRow(), panel);
    // The screen that there is not has no room beside the panel.
    preview.resize(480, panel.height());
    while (preview.isWaiting())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return preview.grab();
}

QPixmap besideEachOther(const QPixmap& left, const QPixmap& right) {
    const qreal ratio = left.devicePixelRatio();
    const int gap = qRound(12 * ratio);
    QPixmap both(left.width() + gap + right.width(), left.height());
    both.fill(Qt::transparent);
    both.setDevicePixelRatio(ratio);
    QPainter painter(&both);
    painter.drawPixmap(QPointF(), left);
    painter.drawPixmap(QPointF((left.width() + gap) / ratio, 0), right);
    return both;
}

}  // namespace

int drawSnapshot(const SnapshotOptions& options) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_SCALE_FACTOR", QByteArray::number(options.scale));
    // The offscreen platform complains of all that it lacks.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    int count = 1;
    char name[] = "dovra";
    char* arguments[] = {name, nullptr};
    const QApplication application(count, arguments);
    if (!checkFonts()) return 1;
    QApplication::setStyle(QStringLiteral("fusion"));
    QApplication::setPalette(themePalette(options.appearance));
    // Written in place: the path may be a device.
    QFile file(QFile::decodeName(options.outputPath.c_str()));
    if (!file.open(QIODevice::WriteOnly)) return failed(options.outputPath, file.errorString());

    const MainLoop loop;
    AppServices::Options service = serviceOptions(options.index);
    service.postToMain = [queue = loop.queue()](DispatchQueue::Work work) { queue->async(std::move(work)); };
    const auto services = AppServices::make(std::move(service));
    DesktopWorkspace workspace;
    const auto model = SearchViewModel::make(services, loop.queue(), workspace);
    PreviewWindow preview(PreviewWindow::environment(services, loop.queue()));
    PanelWindow panel(
        model, [] { return std::string(); }, &preview);
    panel.resize(options.size.width, options.size.height);
    panel.setAttribute(Qt::WA_DontShowOnScreen);
    panel.show();
    bool isReady = options.isEarly;
    if (isReady) model->setQuery(options.query);
    services->start([&, queue = loop.queue()] {
        queue->async([&] {
            isReady = true;
            model->setQuery(options.query);
        });
    });
    while (!isReady || !isSettled(model->state(), options.isEarly) || panel.isBehind())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    QPixmap picture = panel.grab();
    if (options.hasPreview) picture = besideEachOther(picture, draw(preview, panel));
    return save(picture, file, options.outputPath);
}

}  // namespace dovra
