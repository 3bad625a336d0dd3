#pragma once

#include <QIODevice>
#include <QImage>
#include <QString>
#include <stdexcept>
#include <vector>

#include "Preview/PreviewMessage.hpp"

namespace dovra {

/// Why a file of a known kind gives no picture; the text is for the user.
class DecodingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The file that is decoded, and the way for what is found out about it.
class DecodedFile {
public:
    /// `device` can be read from any position, and `pixels` is the most for a side of the picture.
    DecodedFile(QIODevice& device, int pixels) : device_(device), pixels_(pixels) {}

    /// At the start of the file.
    QIODevice& device() const;

    /// The largest size for the picture with the shape of `size`.
    QSize fitted(QSize size) const { return size.scaled(pixels_, pixels_, Qt::KeepAspectRatio); }
    /// The same, but never larger than `size`.
    QSize shrunk(QSize size) const;

    /// Notes a fact. One without a value is left out.
    void add(const char* label, const QString& value);

    /// Says what is known so far.
    void sayFacts() const { say({}); }
    /// Says it with a picture, which is made smaller if it is too large.
    void say(QImage picture) const;

private:
    QIODevice& device_;
    int pixels_;
    std::vector<PreviewFact> facts_;
};

}  // namespace dovra
