#include <QImageReader>
#include <QTransform>

#include "PreviewDecoder/Decoders.hpp"

namespace dovra {

namespace {

/// The thumbnail that a camera put into the file, given its start; null without one. It is a whole JPEG file
/// within the first segment of metadata.
QImage embeddedThumbnail(const QByteArray& start) {
    const qsizetype metadata = start.indexOf("Exif");
    const qsizetype begin = metadata < 0 ? -1 : start.indexOf("\xFF\xD8\xFF", metadata);
    return begin < 0 ? QImage() : QImage::fromData(start.mid(begin));
}

QImage turned(const QImage& image, QImageIOHandler::Transformations how) {
    const QImage mirrored = image.mirrored(how & QImageIOHandler::TransformationMirror,
                                           how & QImageIOHandler::TransformationFlip);
    return how & QImageIOHandler::TransformationRotate90 ? mirrored.transformed(QTransform().rotate(90))
                                                         : mirrored;
}

}  // namespace

bool decodeImage(DecodedFile& file) {
    constexpr int mostMegabytes = 256;
    QImageReader::setAllocationLimit(mostMegabytes);
    constexpr qint64 mostStartBytes = 128 * 1024;
    const QByteArray start = file.device().peek(mostStartBytes);
    QImageReader reader(&file.device());
    reader.setDecideFormatFromContent(true);
    // One plugin reads drawings, and takes for one whatever is compressed.
    if (!reader.canRead() || reader.format().startsWith("svg")) return false;
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    const bool isOnItsSide = reader.transformation() & QImageIOHandler::TransformationRotate90;
    const QSize shown = isOnItsSide ? size.transposed() : size;
    file.add("Kind", QString::fromLatin1(reader.format()).toUpper());
    if (size.isValid()) {
        file.add("Dimensions", QString("%1 × %2").arg(shown.width()).arg(shown.height()));
        if (file.shrunk(size) != size) reader.setScaledSize(file.shrunk(size));
    }
    // This comes at once. The image may take longer than there is time.
    const QImage quick = embeddedThumbnail(start);
    quick.isNull() ? file.sayFacts() : file.say(turned(quick, reader.transformation()));

    const QImage image = reader.read();
    if (image.isNull()) throw DecodingError("it is broken, or too large to draw");
    file.say(image);
    return true;
}

void decodeThumbnail(DecodedFile& file, const QString& modified) {
    // Before the image is read, the library splits names at their first colon.
    const QImage image = QImageReader(&file.device(), "png").read();
    if (image.isNull() || image.text("Thumb::MTime") != modified)
        throw DecodingError("the thumbnail is not of this file");
    file.say(image);
}

}  // namespace dovra
