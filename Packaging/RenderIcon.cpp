// Renders a drawing (SVG) to a square picture (PNG), for the build: render_icon DRAWING PIXELS PICTURE

#include <QImage>
#include <QPainter>
#include <QString>
#include <QSvgRenderer>
#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    const int pixels = QString::fromLocal8Bit(argv[2]).toInt();
    QSvgRenderer drawing(QString::fromLocal8Bit(argv[1]));
    QImage picture(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    if (!drawing.isValid() || !painter.isActive()) {
        std::fprintf(stderr, "render_icon: %s cannot be drawn\n", argv[1]);
        return 1;
    }
    drawing.render(&painter);
    painter.end();
    if (picture.save(QString::fromLocal8Bit(argv[3]), "PNG")) return 0;
    std::fprintf(stderr, "render_icon: %s cannot be written\n", argv[3]);
    return 1;
}
