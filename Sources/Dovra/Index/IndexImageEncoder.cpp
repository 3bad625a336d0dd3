#include <algorithm>
#include <span>

#include "Index/IndexImage.hpp"
#include "Index/IndexImageFormat.hpp"

// The index lives on while it is encoded. Each piece is copied under the lock and handed on without it, so a
// change waits for the copying of one piece at most. The generation ties the pieces together: once it has
// changed, they are not of one state any more, and the encoding ends.

namespace dovra {

namespace {

constexpr std::size_t pieceBytes = std::size_t{256} * 1024;

/// Folders of one piece. It is small because folders are visited in an order that defeats the processor's
/// cache.
constexpr std::size_t foldersPerPiece = 4096;

class IndexImageEncoder {
public:
    IndexImageEncoder(const FileIndex& index, const IndexImageSink& sink) : index_(index), sink_(sink) {}

    Encoded encode(DeviceId volumeDev, std::uint64_t lastEventId) {
        begin();
        const bool isWhole = writePieces(folderCount_, &IndexImageEncoder::planFolders) &&
                             writeHeader(volumeDev, lastEventId) &&
                             writePieces(folderCount_, &IndexImageEncoder::copyPaths) &&
                             writePieces(poolBytes_, &IndexImageEncoder::copyNames) &&
                             writePieces(entryCount_, &IndexImageEncoder::copyEntries) &&
                             writeStampHeader() && writePieces(folderCount_, &IndexImageEncoder::copyStamps);
        if (isWhole) return Encoded::whole;
        return hasChanged_ ? Encoded::changed : Encoded::abandoned;
    }

private:
    /// The place of a folder in the file.
    struct Planned {
        static constexpr DirIndex leftOut = -1;

        DirIndex position;   ///< in the file
        bool lacksContents;  ///< of a child folder, so this one must be listed again

        bool isSaved() const { return position != leftOut; }
    };

    /// Copies the piece that begins at a position into the buffer, and returns the position behind it. Called
    /// under the lock.
    using CopyPiece = std::size_t (IndexImageEncoder::*)(std::size_t first);

    void begin() {
        const ReadGuard guard(index_.rwlock);
        generation_ = index_.generation();
        folderCount_ = index_.directoriesLocked().count();
        poolBytes_ = index_.namePoolLocked().size();
        entryCount_ = index_.entriesLocked().size();
    }

    bool writePieces(std::size_t count, CopyPiece copy) {
        for (std::size_t next = 0; next < count;) {
            buffer_.truncate(0);
            {
                const ReadGuard guard(index_.rwlock);
                hasChanged_ = index_.generation() != generation_;
                if (hasChanged_) return false;
                next = (this->*copy)(next);
            }
            if (!sink_({buffer_.data(), buffer_.size()})) return false;
        }
        return true;
    }

    void append(std::string_view bytes) { buffer_.append(bytes.data(), bytes.size()); }

    std::size_t planFolders(std::size_t first) {
        const std::size_t last = std::min(first + foldersPerPiece, folderCount_);
        for (std::size_t i = first; i < last; ++i)
            plan_.push_back(planned(static_cast<DirIndex>(i)));
        return last;
    }

    /// Plans the folder. Marks its parent when the folder is left out with its contents.
    Planned planned(DirIndex folder) {
        const FolderTable& folders = index_.directoriesLocked();
        const auto parent = folders.parent(folder);
        const bool isSaved = !parent || folders.pathBytes(folder) <= maxSavedPathBytes;
        if (!isSaved && index_.entriesByDirLocked().contains(folder))
            plan_[static_cast<std::size_t>(*parent)].lacksContents = true;
        return {.position = isSaved ? savedFolders_++ : Planned::leftOut, .lacksContents = false};
    }

    // The index itself ends the process before one of these counts outgrows its 32 bits.
    bool writeHeader(DeviceId volumeDev, std::uint64_t lastEventId) const {
        const IndexImageHeader header{
            .magic = IndexImageHeader::expectedMagic,
            .version = IndexImageHeader::expectedVersion,
            .entryBytes = sizeof(FileEntry),
            .volumeDev = static_cast<std::int64_t>(volumeDev),
            .lastEventId = lastEventId,
            .folderCount = static_cast<std::uint32_t>(savedFolders_),
            .entryCount = static_cast<std::uint32_t>(entryCount_),
            .poolBytes = static_cast<std::uint32_t>(poolBytes_),
        };
        return sink_(bytesOf(header, IndexImageHeader::bytes));
    }

    std::size_t copyPaths(std::size_t first) {
        const std::size_t last = std::min(first + foldersPerPiece / 4, folderCount_);
        std::size_t i = first;
        for (; i < last && buffer_.size() < pieceBytes; ++i) {
            if (!plan_[i].isSaved()) continue;
            const std::string path = index_.directoriesLocked().path(static_cast<DirIndex>(i));
            append(bytesOf(static_cast<std::uint32_t>(path.size())));
            append(path);
        }
        return i;
    }

    std::size_t copyNames(std::size_t first) {
        const std::size_t count = std::min(pieceBytes, poolBytes_ - first);
        append({reinterpret_cast<const char*>(index_.namePoolLocked().bytes()) + first, count});
        return first + count;
    }

    std::size_t copyEntries(std::size_t first) {
        const std::size_t count = std::min(pieceBytes / sizeof(FileEntry), entryCount_ - first);
        // Copied as bytes: entries assigned one by one would get old memory as their reserved bytes.
        append(bytesOf(index_.entriesLocked()[first], count * sizeof(FileEntry)));
        for (FileEntry& entry : std::span(reinterpret_cast<FileEntry*>(buffer_.data()), count))
            place(entry);
        return first + count;
    }

    /// Sets the position of the entry's folder in the file. The entry of a folder left out is deleted.
    void place(FileEntry& entry) const {
        const Planned& folder = plan_[static_cast<std::size_t>(entry.dirIndex)];
        if (!folder.isSaved()) entry.flags |= FileEntry::tombstone;
        entry.dirIndex = folder.isSaved() ? folder.position : 0;
    }

    bool writeStampHeader() const {
        const StampSectionHeader header{
            .magic = StampSectionHeader::expectedMagic,
            .contentBytes = static_cast<std::uint64_t>(savedFolders_) * sizeof(FolderStamp)};
        return sink_(bytesOf(header));
    }

    std::size_t copyStamps(std::size_t first) {
        const std::size_t last = std::min(first + foldersPerPiece, folderCount_);
        for (std::size_t i = first; i < last; ++i) {
            if (!plan_[i].isSaved()) continue;
            const FolderStamp stamp = index_.stampLocked(static_cast<DirIndex>(i));
            append(bytesOf(plan_[i].lacksContents ? FolderStamp{} : stamp));
        }
        return last;
    }

    const FileIndex& index_;
    const IndexImageSink& sink_;
    std::uint64_t generation_ = 0;
    bool hasChanged_ = false;
    std::size_t folderCount_ = 0;
    std::size_t poolBytes_ = 0;
    std::size_t entryCount_ = 0;
    PodVector<Planned> plan_;  ///< by folder
    DirIndex savedFolders_ = 0;
    PodVector<char> buffer_;
};

}  // namespace

Encoded encodeIndexImage(const FileIndex& index, DeviceId volumeDev, std::uint64_t lastEventId,
                         const IndexImageSink& sink) {
    return IndexImageEncoder(index, sink).encode(volumeDev, lastEventId);
}

}  // namespace dovra
