#pragma once

#include <QPainter>
#include <QWidget>

#include "Desktop/Windows/Symbols.hpp"

namespace dovra {

/// A large drawing in the middle of its line, in a colour of the palette. It is smaller where room is scarce.
class Emblem : public QWidget {
public:
    Emblem(Symbol symbol, QPalette::ColorRole role, QWidget* parent)
        : QWidget(parent), symbol_(symbol), role_(role) {
        setMaximumHeight(most);
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    }

    QSize sizeHint() const override { return {most, most}; }
    QSize minimumSizeHint() const override { return {0, 0}; }

protected:
    void paintEvent(QPaintEvent*) override {
        const int points = height();
        if (points < least) return;
        const QPixmap drawing = symbolPixmap(symbol_, palette().color(role_), points, devicePixelRatioF());
        QPainter(this).drawPixmap((width() - points) / 2, 0, drawing);
    }

private:
    static constexpr int most = 64;
    static constexpr int least = 24;

    Symbol symbol_;
    QPalette::ColorRole role_;
};

}  // namespace dovra
