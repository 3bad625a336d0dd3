#include "Index/IndexCache.hpp"

#include <cerrno>
#include <filesystem>
#include <fmt/format.h>
#include <system_error>

#include "Platform/AtomicFile.hpp"
#include "Platform/Paths.hpp"
#include "Platform/RegularFile.hpp"

namespace dovra {

namespace {

/// FNV-1a (Fowler, Noll, Vo; RFC 9923). Two roots with the same value would only take turns in one file: an
/// image of another root is not loaded.
std::uint64_t stableHash(std::string_view text) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char c : text)
        hash = (hash ^ static_cast<std::uint8_t>(c)) * 0x100000001B3;
    return hash;
}

}  // namespace

std::string cacheFileName(std::string_view root) {
    return root == "/" ? "index.cache" : fmt::format("index-{:016x}.cache", stableHash(root));
}

IndexCache::IndexCache(std::string_view fileName) {
    if (const auto folder = applicationSupportFolder()) filePath_ = fmt::format("{}/{}", *folder, fileName);
}

std::optional<FileError> IndexCache::save(const FileIndex& index, DeviceId volumeDev,
                                          std::uint64_t lastEventId, const std::stop_token& stop) const {
    if (!filePath_) return FileError{"there is no folder for the index cache"};
    constexpr int attempts = 5;
    for (int i = 0; i < attempts; ++i) {
        AtomicFile file(*filePath_);
        const IndexImageSink sink = [&](std::string_view bytes) {
            return !stop.stop_requested() && file.write(bytes);
        };
        const Encoded encoded = encodeIndexImage(index, volumeDev, lastEventId, sink);
        if (stop.stop_requested()) return notWritten("it was stopped", ECANCELED);
        // The error of an abandoned write is returned here.
        if (encoded != Encoded::changed) return file.commit();
    }
    return notWritten("the index changed while it was written", EAGAIN);
}

FileError IndexCache::notWritten(std::string_view reason, int code) const {
    return {fmt::format("cannot write {}: {}", *filePath_, reason), code};
}

std::optional<LoadedIndexImage> IndexCache::load(FileIndex& index, const IndexImageSubject& subject,
                                                 const std::stop_token& stop) const {
    if (!filePath_) return std::nullopt;
    const auto file = RegularFile::open(*filePath_);
    return file ? loadIndexImage(index, IndexImageSource::fromFile(*file), subject, stop) : std::nullopt;
}

void IndexCache::remove() const {
    std::error_code notThere;
    if (filePath_) std::filesystem::remove(*filePath_, notThere);
}

}  // namespace dovra
