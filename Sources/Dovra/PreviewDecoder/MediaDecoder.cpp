#include <MediaInfo/MediaInfo.h>
#include <QImage>
#include <QStringList>
#include <cstdint>
#include <utility>

#include "PreviewDecoder/Decoders.hpp"

namespace dovra {

namespace {

using MediaInfoLib::MediaInfo;
using MediaInfoLib::stream_t;

QString valueOf(MediaInfo& media, stream_t stream, const wchar_t* name) {
    return QString::fromStdWString(media.Get(stream, 0, name));
}

/// Reads the parts of the file that the library asks for.
void read(MediaInfo& media, QIODevice& device) {
    constexpr qint64 blockBytes = 256 * 1024;
    constexpr qint64 mostBytes = 64 << 20;
    constexpr std::size_t isFinished = 8;
    const auto size = static_cast<std::uint64_t>(device.size());
    media.Open_Buffer_Init(size, 0);
    for (qint64 total = 0; total < mostBytes; total += blockBytes) {
        const QByteArray block = device.read(blockBytes);
        const auto* bytes = reinterpret_cast<const ZenLib::int8u*>(block.constData());
        if (block.isEmpty() ||
            (media.Open_Buffer_Continue(bytes, static_cast<std::size_t>(block.size())) & isFinished) != 0)
            break;
        const std::uint64_t next = media.Open_Buffer_Continue_GoTo_Get();
        if (next == ~std::uint64_t{0}) continue;
        if (next >= size || !device.seek(static_cast<qint64>(next))) break;
        media.Open_Buffer_Init(size, next);
    }
    media.Open_Buffer_Finalize();
}

/// "3:25", or "1:02:03" from an hour on; empty without a duration.
QString durationText(const QString& milliseconds) {
    const auto seconds = qRound64(milliseconds.toDouble() / 1000);
    if (seconds <= 0) return {};
    const QChar zero('0');
    const QString end = QString(":%1").arg(seconds % 60, 2, 10, zero);
    const qint64 minutes = seconds / 60;
    return minutes < 60 ? QString::number(minutes) + end
                        : QString("%1:%2").arg(minutes / 60).arg(minutes % 60, 2, 10, zero) + end;
}

/// The values of a stream that are known, as the library writes them for people.
QString joined(MediaInfo& media, stream_t stream, std::initializer_list<const wchar_t*> names) {
    QStringList known;
    for (const wchar_t* name : names)
        known += valueOf(media, stream, name);
    known.removeAll({});
    return known.join(", ");
}

void addFacts(DecodedFile& file, MediaInfo& media) {
    using namespace MediaInfoLib;
    file.add("Kind", valueOf(media, Stream_General, L"Format"));
    for (const auto& [label, name] :
         {std::pair("Title", L"Title"), std::pair("Artist", L"Performer"), std::pair("Album", L"Album")})
        file.add(label, valueOf(media, Stream_General, name));
    file.add("Duration", durationText(valueOf(media, Stream_General, L"Duration")));
    // Beside sound or video, an image is the cover.
    const bool isImage = media.Count_Get(Stream_Audio) + media.Count_Get(Stream_Video) == 0;
    const stream_t stream = isImage ? Stream_Image : Stream_Video;
    if (const QString width = valueOf(media, stream, L"Width"); !width.isEmpty())
        file.add("Dimensions", width + " × " + valueOf(media, stream, L"Height"));
    file.add("Video", joined(media, Stream_Video, {L"Format", L"FrameRate/String"}));
    file.add("Audio", joined(media, Stream_Audio, {L"Format", L"Channel(s)/String", L"SamplingRate/String"}));
}

}  // namespace

bool decodeMedia(DecodedFile& file) {
    using namespace MediaInfoLib;
    MediaInfo media;
    media.Option(L"Cover_Data", L"base64");
    read(media, file.device());
    if (media.Count_Get(Stream_Audio) + media.Count_Get(Stream_Video) + media.Count_Get(Stream_Image) == 0)
        return false;
    addFacts(file, media);
    file.sayFacts();
    const QByteArray cover = valueOf(media, Stream_General, L"Cover_Data").section(" / ", 0, 0).toLatin1();
    const QImage image = QImage::fromData(QByteArray::fromBase64(cover));
    if (!image.isNull()) file.say(image);
    return true;
}

}  // namespace dovra
