#include "PreviewDecoder/DecodedFile.hpp"

#include <QColorSpace>

#include "Platform/StandardStreams.hpp"

namespace dovra {

QIODevice& DecodedFile::device() const {
    device_.seek(0);
    return device_;
}

QSize DecodedFile::shrunk(QSize size) const {
    return size.width() > pixels_ || size.height() > pixels_ ? fitted(size).expandedTo({1, 1}) : size;
}

void DecodedFile::add(const char* label, const QString& value) {
    if (const QString text = value.simplified(); !text.isEmpty())
        facts_.push_back({label, text.left(200).toStdString()});
}

void DecodedFile::say(QImage picture) const {
    if (const QSize size = shrunk(picture.size()); size != picture.size())
        picture = picture.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (picture.colorSpace().isValid()) picture.convertToColorSpace(QColorSpace::SRgb);
    picture.convertTo(QImage::Format_ARGB32_Premultiplied);
    // A line of this format has no bytes behind its pixels.
    const std::string_view pixels(reinterpret_cast<const char*>(picture.constBits()),
                                  static_cast<std::size_t>(picture.sizeInBytes()));
    std::string message = previewHeader(picture.width(), picture.height(), facts_);
    message += pixels;
    if (!writeStandardOutput(message)) throw DecodingError("nobody reads the picture");
}

}  // namespace dovra
