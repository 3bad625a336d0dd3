#include "Preview/PreviewLoader.hpp"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <span>
#include <system_error>

#include "Base/Utf8.hpp"
#include "Platform/ChildProcess.hpp"
#include "Platform/RegularFile.hpp"
#include "Preview/TextHead.hpp"

namespace dovra {

namespace {

using Clock = std::chrono::steady_clock;
using End = ChildResult::End;

/// Comes on top, because the thumbnail is asked for when decoding took all its time.
constexpr std::chrono::milliseconds patienceForThumbnail{80};

std::optional<std::string> readHead(const RegularFile& file) {
    std::string head(textHeadBytes, '\0');
    std::size_t known = 0;
    while (known < head.size()) {
        const auto count = file.readAt(known, std::span(head).subspan(known));
        if (!count) return std::nullopt;
        if (*count == 0) break;
        known += *count;
    }
    head.resize(known);
    return head;
}

/// Why nothing could be opened at this path, in the words for a user.
std::string reasonNotOpened(const std::string& path) {
    using Type = std::filesystem::file_type;
    std::error_code error;
    const Type itself = std::filesystem::symlink_status(path, error).type();
    if (itself == Type::not_found) return "it is not there any more";
    switch (std::filesystem::status(path, error).type()) {
        case Type::not_found:
            return "the link leads nowhere";
        case Type::directory:
            return "it is a folder";
        case Type::regular:
            return "you may not read it";
        case Type::none:
        case Type::unknown:
            return error == std::errc::permission_denied ? "you may not read it" : "it cannot be read";
        default:
            return "it is a device, a pipe or a socket";
    }
}

/// What the decoder says for itself: the last line of its errors.
std::string lastLine(std::string_view text) {
    text = trimmedWhiteSpace(text);
    return visibleText(text.substr(text.rfind('\n') + 1));
}

/// Why a decoder that ended so gave no picture.
std::string reasonOf(const ChildResult& result, const std::string& decoder) {
    switch (result.end) {
        case End::outOfTime:
            return "drawing it takes too long";
        case End::signalled:
            return fmt::format("the decoder crashed on it (signal {})", result.code);
        case End::stopped:
            return "stopped";
        case End::saidTooMuch:
            return "the decoder gave more than was asked for";
        case End::notStarted:
            return fmt::format("cannot start {}: {}", decoder, std::generic_category().message(result.code));
        case End::exited:
            break;
    }
    const std::string said = lastLine(result.errors);
    return said.empty() ? "it cannot be decoded" : said;
}

/// Decodes files of one preview.
class Decoding {
public:
    Decoding(const std::string& decoder, int pixels, const std::stop_token& stop)
        : decoder_(decoder), pixels_(pixels), stop_(stop) {}

    Preview operator()(const RegularFile& file, Clock::time_point deadline,
                       std::vector<std::string> words = {}) const {
        words.insert(words.begin(), std::to_string(pixels_));
        // A quick picture may come before the good one.
        const auto side = static_cast<std::size_t>(pixels_);
        const std::size_t mostBytes = 2 * (4 * side * side + mostPreviewHeaderBytes);
        const ChildResult result =
            runChild({decoder_, std::move(words), file.descriptor(), mostBytes, deadline}, stop_);
        auto message = lastPreviewMessage(result.output, pixels_);
        if (!message) return {.reason = "the decoder gave no sense"};
        Preview preview{.facts = std::move(message->facts)};
        if (message->picture.width > 0) preview.picture = std::move(message->picture);
        if (!preview.picture && (preview.facts.empty() || result.end != End::exited || result.code != 0))
            preview.reason = reasonOf(result, decoder_);
        return preview;
    }

private:
    const std::string& decoder_;
    int pixels_;
    const std::stop_token& stop_;
};

/// A thumbnail of the file from the desktop's cache, unless the file changed since it was made.
std::optional<PreviewPicture> thumbnail(const RegularFile& file, const std::vector<std::string>& places,
                                        const Decoding& decode, Clock::time_point deadline) {
    for (const std::string& place : places) {
        const auto made = RegularFile::open(place);
        if (!made) continue;
        if (auto preview = decode(*made, deadline, {std::to_string(file.modified())}); preview.picture)
            return preview.picture;
    }
    return std::nullopt;
}

}  // namespace

PreviewLoader::PreviewLoader(std::string decoder, ThumbnailCache thumbnails,
                             std::chrono::milliseconds patience)
    : decoder_(std::move(decoder)), thumbnails_(std::move(thumbnails)), patience_(patience) {}

Preview PreviewLoader::load(const std::string& path, int pixels, const std::stop_token& stop) const {
    const auto start = Clock::now();
    const auto file = RegularFile::open(path);
    if (!file) return {.reason = reasonNotOpened(path)};
    const auto head = readHead(*file);
    if (!head) return {.reason = "it cannot be read"};
    auto text = textOfHead(*head);
    if (text && !isDrawing(*head)) return {.text = std::move(text)};

    const Decoding decode(decoder_, std::clamp(pixels, 1, mostPreviewPixels), stop);
    Preview preview = decode(*file, start + patience_);
    if (!preview.picture && !stop.stop_requested())
        preview.picture =
            thumbnail(*file, thumbnails_.placesOf(path), decode, start + patience_ + patienceForThumbnail);
    if (preview.picture) preview.reason.clear();
    // A drawing that is broken is shown as what it is written in.
    if (!preview.picture) preview.text = std::move(text);
    return preview;
}

}  // namespace dovra
