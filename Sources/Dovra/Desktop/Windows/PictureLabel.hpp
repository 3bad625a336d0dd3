#pragma once

#include <QLabel>
#include <functional>

namespace dovra {

/// A picture in the middle of its place, made smaller where it does not fit, that can be dragged away.
class PictureLabel : public QLabel {
public:
    using QLabel::QLabel;

    /// Starts a drag.
    std::function<void()> onDrag;

    /// Shows a file's picture, with a line around it, on a pattern where it is transparent; so many of its
    /// pixels are a point.
    void showFile(QImage picture, qreal pixelRatio);
    void showSymbol(const QPixmap& symbol);

    QSize minimumSizeHint() const override { return {0, 0}; }
    QSize sizeHint() const override { return {0, 0}; }

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QPoint pressed_;
    bool isFile_ = false;
};

}  // namespace dovra
