#pragma once

#include <QScrollBar>

namespace dovra {

/// A scroll bar that stands back: a handle without a groove and without buttons. It is not drawn when there
/// is nothing to scroll.
class SlimScrollBar : public QScrollBar {
public:
    explicit SlimScrollBar(QWidget* parent) : QScrollBar(Qt::Vertical, parent) {
        setStyleSheet(
            QStringLiteral("QScrollBar { background: transparent; border: none; width: 12px; margin: 0; }"
                           "QScrollBar::handle { background: palette(dark); border-radius: 3px; margin: 3px;"
                           "min-height: 24px; }"
                           "QScrollBar::handle:hover { background: palette(placeholder-text); }"
                           "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }"
                           "QScrollBar::add-page, QScrollBar::sub-page { background: none; }"));
    }

protected:
    void paintEvent(QPaintEvent* event) override {
        if (minimum() < maximum()) QScrollBar::paintEvent(event);
    }
};

}  // namespace dovra
