#pragma once

#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "Index/FileIndex.hpp"
#include "Index/IndexImage.hpp"
#include "Platform/AtomicFile.hpp"

namespace dovra {

/// The name of the cache file of a scan that began at `root` (an absolute path): "index.cache" for "/", and a
/// name of its own for every other root, so that no scan replaces another's file.
std::string cacheFileName(std::string_view root);

/// The file that keeps an index from one run to the next. Processes may share it: a reader finds a whole
/// image or none.
class IndexCache {
public:
    /// The file of this name in the application-support folder, which is made when it is missing.
    explicit IndexCache(std::string_view fileName);

    /// Absent when there is no application-support folder.
    const std::optional<std::string>& filePath() const { return filePath_; }

    /// Replaces the file by an image of one state of the index (see `encodeIndexImage`). Any thread may call
    /// it while the index changes: an image overtaken by a change is begun anew, a few times. On failure the
    /// old file stays. The code EAGAIN asks for a later try (the index kept changing, or another process of
    /// this user is saving); ECANCELED follows a request to stop.
    [[nodiscard]] std::optional<FileError> save(const FileIndex& index, DeviceId volumeDev,
                                                std::uint64_t lastEventId,
                                                const std::stop_token& stop = {}) const;

    /// Loads the file into the index (see `loadIndexImage`). Absent, with the index unchanged, when the file
    /// is missing, cannot be read, or is no sound image of that subject.
    [[nodiscard]] std::optional<LoadedIndexImage> load(FileIndex& index, const IndexImageSubject& subject,
                                                       const std::stop_token& stop = {}) const;

    /// Removes the file, if there is one.
    void remove() const;

private:
    FileError notWritten(std::string_view reason, int code) const;

    std::optional<std::string> filePath_;
};

}  // namespace dovra
