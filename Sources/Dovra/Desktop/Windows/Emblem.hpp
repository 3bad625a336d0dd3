#pragma once

#include <QPainter>
#include <QWidget>

#include "Desktop/Windows/Symbols.hpp"

namespace dovra {

/// A large drawing in the middle of its line, in a colour of the palette.
class Emblem : public QWidget {
public:
    Emblem(Symbol symbol, QPalette::ColorRole role, QWidget* parent)
        : QWidget(parent), symbol_(symbol), role_(role) {
        setFixedHeight(points);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        const QPixmap drawing = symbolPixmap(symbol_, palette().color(role_), points, devicePixelRatioF());
        QPainter(this).drawPixmap((width() - points) / 2, 0, drawing);
    }

private:
    static constexpr int points = 64;

    Symbol symbol_;
    QPalette::ColorRole role_;
};

}  // namespace dovra
