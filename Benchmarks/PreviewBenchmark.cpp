// Measures how long the preview of a large or broken file takes, decoder process included.
//
// usage: preview_benchmark [SIDE]      SIDE is that of the square for the picture, in pixels (default: 1024)
#include <QGuiApplication>
#include <QImage>
#include <QImageWriter>
#include <QPainter>
#include <QPdfWriter>
#include <QTemporaryDir>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "Preview/PreviewLoader.hpp"

using namespace dovra;

namespace {

constexpr int rounds = 15;

/// Smooth shapes under the noise of a sensor, about as hard to decode as a photograph.
QImage photograph(int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    std::minstd_rand random(1);
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const int noise = static_cast<int>(random() >> 16 & 7);
            line[x] = qRgb((x + y) / 40 % 240 + noise, x / 25 % 240 + noise, y / 30 % 240 + noise);
        }
    }
    return image;
}

void writeJpeg(const QString& path, const QImage& image, bool isProgressive) {
    QImageWriter writer(path, "jpeg");
    writer.setQuality(90);
    writer.setProgressiveScanWrite(isProgressive);
    writer.write(image);
}

void writePdf(const QString& path, int pages) {
    QPdfWriter writer(path);
    QPainter painter(&writer);
    for (int page = 0; page < pages; ++page) {
        if (page > 0) writer.newPage();
        for (int line = 0; line < 40; ++line)
            painter.drawText(0, 300 * line, QString("Line %1 of page %2").arg(line).arg(page));
    }
}

void writeFiles(const QString& folder) {
    const QImage large = photograph(11'600, 8'700);
    writeJpeg(folder + "/100 megapixels.jpg", large, false);
    writeJpeg(folder + "/100 megapixels, progressive.jpg", large, true);
    const QImage usual = photograph(4'000, 3'000);
    writeJpeg(folder + "/12 megapixels.jpg", usual, false);
    usual.save(folder + "/12 megapixels.png");
    writePdf(folder + "/1000 pages.pdf", 1000);
    const std::string at = folder.toStdString();
    std::ofstream(at + "/10 GB.txt") << std::string(100'000, 'x');
    std::filesystem::resize_file(at + "/10 GB.txt", std::uintmax_t{10} << 30);
    std::ofstream(at + "/10 GB of zeros") << '\0';
    std::filesystem::resize_file(at + "/10 GB of zeros", std::uintmax_t{10} << 30);
    std::ofstream(at + "/broken.pdf") << "%PDF-1.7 " << std::string(1'000'000, '<');
}

std::string outcome(const Preview& preview) {
    if (preview.picture)
        return std::to_string(preview.picture->width) + " by " + std::to_string(preview.picture->height);
    if (preview.text) return "text";
    return std::to_string(preview.facts.size()) + " facts; " + preview.reason;
}

void measure(const PreviewLoader& loader, const std::filesystem::path& path, int side) {
    std::array<double, rounds> times{};
    Preview preview;
    for (double& time : times) {
        const auto start = std::chrono::steady_clock::now();
        preview = loader.load(path.string(), side, {});
        time = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    }
    std::ranges::sort(times);
    std::printf("%-34s %6.0f ms   worst %6.0f ms   %s\n", path.filename().c_str(), times[rounds / 2],
                times.back(), outcome(preview).c_str());
}

}  // namespace

int main(int count, char** words) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(count, words);
    const QTemporaryDir folder;
    writeFiles(folder.path());
    const std::string decoder = QCoreApplication::applicationDirPath().toStdString() + "/dovra-preview";
    const PreviewLoader loader(decoder, ThumbnailCache(folder.path().toStdString() + "/none"));
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path().toStdString()))
        files.push_back(entry.path());
    std::ranges::sort(files);
    for (const auto& file : files)
        measure(loader, file, count > 1 ? std::stoi(words[1]) : 1024);
}
