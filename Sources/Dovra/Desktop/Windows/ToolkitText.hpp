#pragma once

#include <QString>
#include <QUrl>
#include <string>
#include <string_view>

namespace dovra {

inline QString toolkitText(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

inline QByteArray toolkitBytes(std::string_view bytes) {
    return {bytes.data(), static_cast<qsizetype>(bytes.size())};
}

/// A text for a place that takes markup, as it is: names of files may look like markup.
inline QString withoutMarkup(std::string_view utf8) {
    const QString text = toolkitText(utf8);
    return text.isEmpty() ? text : QStringLiteral("<span>%1</span>").arg(text.toHtmlEscaped());
}

/// A text for a menu, where "&" would underline a letter.
inline QString menuText(std::string_view utf8) {
    return toolkitText(utf8).replace(u'&', QStringLiteral("&&"));
}

/// A text for a menu that the status area draws. Of the toolkit's marks only the first "&" is made the status
/// area's own, "_", and no "_" of the text is doubled.
inline QString statusMenuText(std::string_view utf8) {
    QString text = toolkitText(utf8).replace(u'_', QStringLiteral("__"));
    if (const qsizetype mark = text.indexOf(u'&'); mark >= 0) text.insert(mark, u'&');
    return text;
}

/// The path's bytes as they are, whatever encoding they have.
inline QUrl fileUrl(std::string_view path) {
    return QUrl::fromEncoded("file://" + toolkitBytes(path).toPercentEncoding("/"));
}

}  // namespace dovra
