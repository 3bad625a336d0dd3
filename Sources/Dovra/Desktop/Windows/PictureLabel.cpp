#include "Desktop/Windows/PictureLabel.hpp"

#include <QApplication>
#include <QMouseEvent>
#include <QPainter>
#include <utility>

namespace dovra {

namespace {

/// What editors of images draw behind transparent parts: on it both dark and light drawings can be seen.
QPixmap transparencyPattern(bool isDark) {
    constexpr int square = 8;
    QPixmap pattern(2 * square, 2 * square);
    pattern.fill(isDark ? QColor(0x7A, 0x74, 0x6C) : QColor(0xFF, 0xFF, 0xFF));
    QPainter painter(&pattern);
    const QColor other = isDark ? QColor(0x6C, 0x66, 0x5F) : QColor(0xEC, 0xE8, 0xE1);
    painter.fillRect(0, 0, square, square, other);
    painter.fillRect(square, square, square, square, other);
    return pattern;
}

}  // namespace

void PictureLabel::showFile(QImage picture, qreal pixelRatio) {
    QPixmap pixmap = QPixmap::fromImage(std::move(picture));
    pixmap.setDevicePixelRatio(pixelRatio);
    setPixmap(pixmap);
    isFile_ = true;
}

void PictureLabel::showSymbol(const QPixmap& symbol) {
    setPixmap(symbol);
    isFile_ = false;
}

void PictureLabel::mousePressEvent(QMouseEvent* event) {
    pressed_ = event->pos();
    event->setAccepted(event->button() == Qt::LeftButton && onDrag != nullptr);
}

void PictureLabel::mouseMoveEvent(QMouseEvent* event) {
    const bool isFar = (event->pos() - pressed_).manhattanLength() >= QApplication::startDragDistance();
    if (event->buttons().testFlag(Qt::LeftButton) && isFar && onDrag) onDrag();
}

void PictureLabel::paintEvent(QPaintEvent*) {
    const QPixmap shown = pixmap();
    if (shown.isNull()) return;
    QSizeF size = shown.deviceIndependentSize();
    if (size.width() > width() || size.height() > height()) size.scale(this->size(), Qt::KeepAspectRatio);
    // On whole pixels, or a picture in its final size would be smeared.
    const qreal ratio = devicePixelRatioF();
    const auto aligned = [ratio](qreal place) { return qRound(place * ratio) / ratio; };
    const QRectF place({aligned((width() - size.width()) / 2), aligned((height() - size.height()) / 2)},
                       size);
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    if (isFile_ && shown.hasAlphaChannel())
        painter.drawTiledPixmap(place, transparencyPattern(palette().base().color().lightness() < 128));
    painter.drawPixmap(place, shown, QRectF(shown.rect()));
    if (!isFile_) return;
    painter.setPen(palette().mid().color());
    painter.drawRect(place.adjusted(-0.5, -0.5, 0.5, 0.5));
}

}  // namespace dovra
