#pragma once

#include <QLabel>
#include <QPainter>
#include <QStyle>

namespace dovra {

/// A label of one line that gives way: without room it leaves out the middle of its text. The text is never
/// taken for markup.
class ElidedLabel : public QLabel {
public:
    explicit ElidedLabel(QWidget* parent = nullptr) : QLabel(parent) { setTextFormat(Qt::PlainText); }

    QSize minimumSizeHint() const override { return {0, QLabel::minimumSizeHint().height()}; }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setPen(palette().color(foregroundRole()));
        painter.drawText(rect(), int(QStyle::visualAlignment(layoutDirection(), alignment())),
                         fontMetrics().elidedText(text(), Qt::ElideMiddle, width()));
    }
};

}  // namespace dovra
