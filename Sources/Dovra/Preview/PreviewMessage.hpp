#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dovra {

/// A line of what is known of a file: "Dimensions", "6000 × 4000".
struct PreviewFact {
    std::string label;
    std::string value;

    bool operator==(const PreviewFact&) const = default;
};

/// Pixels from the left to the right and from the top to the bottom, four bytes each: alpha, red, green and
/// blue from the highest byte of a number to the lowest, the colours multiplied by alpha. Without pixels
/// there is no picture.
struct PreviewPicture {
    int width = 0;
    int height = 0;
    std::string pixels;

    bool operator==(const PreviewPicture&) const = default;
};

/// What the decoder says of a file. It writes one message or more. Each stands for itself and is better than
/// the one before, so that a decoder that is killed has said something already.
///
/// A message is a line of JSON,
///
///     {"width":640,"height":480,"facts":[["Dimensions","6000 × 4000"]]}
///
/// and then as many pixels as it names, which may be none.
struct PreviewMessage {
    PreviewPicture picture;
    std::vector<PreviewFact> facts;

    bool operator==(const PreviewMessage&) const = default;
};

/// The most pixels for a side of a picture.
inline constexpr int mostPreviewPixels = 4096;

/// The first line of a message, with its end.
std::string previewHeader(int width, int height, const std::vector<PreviewFact>& facts);

/// The most bytes of a header.
inline constexpr std::size_t mostPreviewHeaderBytes = 16384;

/// The last whole message of a decoder's output, whose sides are at most `mostPixels`; the empty message when
/// there is none yet. Absent when the output is not made of messages: the decoder reads hostile files, so
/// nothing that it says is trusted. Facts come without control characters, and bounded in number and length.
std::optional<PreviewMessage> lastPreviewMessage(std::string_view output, int mostPixels);

}  // namespace dovra
