#include <QGuiApplication>
#include <QPainter>
#include <QSvgRenderer>
#include <array>

#include "PreviewDecoder/Decoders.hpp"

namespace dovra {

namespace {

bool isDrawing(const QByteArray& start) {
    constexpr const char* compressed = "\x1F\x8B";
    return start.startsWith(compressed) || start.contains("<svg");
}

}  // namespace

bool decodeDrawing(DecodedFile& file) {
    constexpr qint64 furthestElement = 4096;
    constexpr qint64 mostBytes = 32 << 20;
    if (!isDrawing(file.device().peek(furthestElement))) return false;
    QSvgRenderer renderer;
    if (file.device().size() > mostBytes || !renderer.load(file.device().read(mostBytes)))
        throw DecodingError("it is a broken drawing");
    const QSize size = renderer.defaultSize();
    file.add("Kind", "SVG");
    file.add("Dimensions", QString("%1 × %2").arg(size.width()).arg(size.height()));
    file.sayFacts();

    QImage image(file.fitted(size.expandedTo({1, 1})).expandedTo({1, 1}),
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    renderer.setAspectRatioMode(Qt::KeepAspectRatio);
    renderer.render(&painter);
    painter.end();
    file.say(image);
    return true;
}

}  // namespace dovra
