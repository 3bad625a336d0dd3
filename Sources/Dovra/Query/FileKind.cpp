#include "Query/FileKind.hpp"

#include <algorithm>
#include <array>

#include "Base/AsciiFold.hpp"

namespace dovra {

namespace {

using Words = std::string_view;

constexpr Words audioWords[] = {"audio"};
constexpr Words audioExtensions[] = {"mp3", "m4a", "aac",  "flac", "wav", "aiff", "aif", "ogg",
                                     "oga", "wma", "alac", "opus", "mid", "midi", "caf"};
constexpr Words videoWords[] = {"video"};
constexpr Words videoExtensions[] = {"mp4", "mkv", "mov",  "avi", "wmv",  "flv", "webm",
                                     "m4v", "mpg", "mpeg", "3gp", "m2ts", "ts",  "mts"};
constexpr Words imageWords[] = {"image", "images", "pic", "pics"};
constexpr Words imageExtensions[] = {"jpg",  "jpeg", "png", "gif", "bmp", "tiff", "tif", "heic", "heif",
                                     "webp", "raw",  "cr2", "nef", "arw", "dng",  "svg", "ico",  "icns"};
constexpr Words documentWords[] = {"doc", "docs", "document", "documents"};
constexpr Words documentExtensions[] = {"pdf",   "doc",     "docx", "xls", "xlsx", "ppt",
                                        "pptx",  "txt",     "rtf",  "odt", "ods",  "odp",
                                        "pages", "numbers", "key",  "md",  "csv",  "epub"};
constexpr Words archiveWords[] = {"zip", "compressed", "archive"};
constexpr Words archiveExtensions[] = {"zip", "rar", "7z",  "tar", "gz",   "bz2", "xz",
                                       "tgz", "dmg", "pkg", "iso", "cpgz", "zipx"};
constexpr Words executableWords[] = {"exe", "executable"};
constexpr Words executableExtensions[] = {"app", "command", "sh",     "bin",  "dylib", "so",
                                          "o",   "a",       "bundle", "kext", "pkg",   "dmg"};

constexpr FileKind kindTable[] = {
    {audioWords, audioExtensions},     {videoWords, videoExtensions},
    {imageWords, imageExtensions},     {documentWords, documentExtensions},
    {archiveWords, archiveExtensions}, {executableWords, executableExtensions},
};

constexpr std::size_t packedLength = 8;

/// Up to eight folded bytes as one number; different for different extensions because no name holds a NUL.
std::uint64_t packed(std::string_view extension) {
    std::uint64_t number = 0;
    for (const char c : extension)
        number = number << 8 | static_cast<std::uint8_t>(asciiFold(c));
    return number;
}

/// One of 64 bits, chosen by multiplicative hashing (Knuth, The Art of Computer Programming 6.4).
std::uint64_t hashBit(std::uint64_t number) {
    return std::uint64_t{1} << (number * 0x9E3779B97F4A7C15 >> 58);
}

}  // namespace

std::span<const FileKind> Macros::kinds() {
    return kindTable;
}

std::optional<std::span<const std::string_view>> Macros::extensions(std::string_view word) {
    for (const FileKind& kind : kindTable) {
        if (std::ranges::find(kind.words, word) != kind.words.end()) return kind.extensions;
    }
    return std::nullopt;
}

ExtensionList::ExtensionList(std::span<const std::string_view> extensions)
    : ExtensionList(std::vector<std::string>(extensions.begin(), extensions.end())) {}

ExtensionList::ExtensionList(std::vector<std::string> extensions) : extensions_(std::move(extensions)) {
    for (const std::string& extension : extensions_) {
        longest_ = std::max(longest_, extension.size());
        if (extension.size() > packedLength) continue;
        packed_.push_back(packed(extension));
        mayContain_ |= hashBit(packed_.back());
    }
}

bool ExtensionList::matches(std::string_view name) const {
    // A dot further back would make the extension longer than any listed.
    const std::size_t reach = std::min(name.size(), longest_ + 1);
    for (std::size_t length = 0; length < reach; ++length) {
        const std::size_t position = name.size() - 1 - length;
        if (name[position] == '.') return contains(name.substr(position + 1));
    }
    return false;
}

bool ExtensionList::contains(std::string_view extension) const {
    if (extension.size() > packedLength) {
        return std::ranges::any_of(
            extensions_, [&](const std::string& listed) { return equalAsciiFolded(extension, listed); });
    }
    const std::uint64_t number = packed(extension);
    return (mayContain_ & hashBit(number)) != 0 && std::ranges::find(packed_, number) != packed_.end();
}

}  // namespace dovra
