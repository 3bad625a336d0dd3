#include <QPainter>
#include <QSvgRenderer>

#include "PreviewDecoder/Decoders.hpp"

namespace dovra {

bool decodeDrawing(DecodedFile& file) {
    constexpr qint64 furthestElement = 4096;
    constexpr qint64 mostBytes = 32 << 20;
    constexpr qint64 mostCompressedBytes = 1 << 20;
    const QByteArray start = file.device().peek(furthestElement);
    // What is compressed may be anything.
    const bool isCompressed = start.startsWith("\x1F\x8B") && file.device().size() <= mostCompressedBytes;
    if (!isCompressed && !start.contains("<svg")) return false;
    QSvgRenderer renderer;
    const bool isDrawing = file.device().size() <= mostBytes && renderer.load(file.device().read(mostBytes));
    if (!isDrawing && isCompressed) return false;
    if (!isDrawing) throw DecodingError("it is a broken drawing");
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
