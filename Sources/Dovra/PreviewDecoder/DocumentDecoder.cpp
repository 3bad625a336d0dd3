#include <QPainter>
#include <QPdfDocument>

#include "PreviewDecoder/Decoders.hpp"

namespace dovra {

namespace {

/// Points, of which 72 make an inch, in whole millimetres.
int millimetres(qreal points) {
    constexpr qreal millimetresInAnInch = 25.4;
    return qRound(points * millimetresInAnInch / 72);
}

void addFacts(DecodedFile& file, const QPdfDocument& document, QSizeF page) {
    using Field = QPdfDocument::MetaDataField;
    file.add("Kind", "PDF");
    file.add("Title", document.metaData(Field::Title).toString());
    file.add("Author", document.metaData(Field::Author).toString());
    file.add("Pages", QString::number(document.pageCount()));
    file.add("Page size",
             QString("%1 × %2 mm").arg(millimetres(page.width())).arg(millimetres(page.height())));
}

}  // namespace

bool decodeDocument(DecodedFile& file) {
    constexpr qint64 furthestHeader = 1024;
    if (!file.device().peek(furthestHeader).contains("%PDF-")) return false;
    QPdfDocument document;
    document.load(&file.device());
    if (document.error() == QPdfDocument::Error::IncorrectPassword)
        throw DecodingError("it is locked with a password");
    if (document.pageCount() < 1) throw DecodingError("it is a broken document");
    const QSizeF page = document.pagePointSize(0);
    addFacts(file, document, page);
    file.sayFacts();

    const QImage drawn = document.render(0, file.fitted(page.toSize()).expandedTo({1, 1}));
    if (drawn.isNull()) throw DecodingError("its first page cannot be drawn");
    QImage paper(drawn.size(), QImage::Format_ARGB32_Premultiplied);
    paper.fill(Qt::white);
    QPainter(&paper).drawImage(0, 0, drawn);
    file.say(paper);
    return true;
}

}  // namespace dovra
