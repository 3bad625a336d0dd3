#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>

#include "Base/Concurrency.hpp"
#include "Base/PathText.hpp"
#include "Index/Clocks.hpp"
#include "Index/FileIndex.hpp"
#include "Index/IndexImage.hpp"
#include "Index/IndexImageFormat.hpp"
#include "Platform/Process.hpp"

// Reading an image is bound by memory. The bytes go from the system's cache straight to their place in the
// index. Signatures and checks follow piece by piece on all processors, while a piece is still in the
// processor's cache. Everything is built apart from the index, so an image with a fault at its end changes
// nothing.

namespace dovra {

namespace {

constexpr std::size_t poolPieceBytes = std::size_t{1} << 20;
constexpr std::size_t entriesPerPiece = 16384;

template <typename Record>
std::optional<Record> readRecord(const IndexImageSource& source, std::uint64_t offset,
                                 std::size_t bytes = sizeof(Record)) {
    if (offset > source.size || bytes > source.size - offset) return std::nullopt;
    Record record{};
    if (!source.read(offset, {reinterpret_cast<char*>(&record), bytes})) return std::nullopt;
    return record;
}

/// Whether the number is a whole one in the range of a file system's times.
bool isTime(double seconds) {
    constexpr double limit = 0x1p63;
    const double distance = std::abs(seconds);
    if (distance < limit) return static_cast<double>(static_cast<std::int64_t>(seconds)) == seconds;
    return distance == limit;
}

bool isEntryName(std::string_view name) {
    return !name.empty() && name != "." && name != "..";
}

bool hasSoundFields(const FileEntry& entry) {
    constexpr unsigned known = FileEntry::folder | FileEntry::symbolicLink | FileEntry::tombstone;
    if ((entry.flags & ~known) != 0) return false;
    if (entry.isFolder() && (entry.isSymbolicLink() || entry.size != 0)) return false;
    return isTime(entry.modTime) && isTime(entry.crTime);
}

bool isPlainComponent(std::string_view name) {
    return isEntryName(name) && name.find('\0') == std::string_view::npos;
}

bool isPlainPath(std::string_view path) {
    if (path == "/") return true;
    if (!path.starts_with('/')) return false;
    for (std::size_t start = 1; start <= path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        if (!isPlainComponent(path.substr(start, end - start))) return false;
        start = end + 1;
    }
    return true;
}

/// Fills a folder table from untrusted whole paths, in the order of their positions.
///
/// In the order of a scan a folder's parent is the folder before it or one above that. So most parents are
/// found by comparing two neighbouring paths, without a search.
class FolderPathReader {
public:
    explicit FolderPathReader(FolderTable& folders) : folders_(folders) {}

    /// Adds the next folder. False when its path is not absolute and plain (no empty, "." or ".." component,
    /// no NUL, no slash at the end), was there before, or is one too many without a parent.
    bool add(std::string_view path);

private:
    std::optional<DirIndex> parentOf(std::string_view path, std::size_t parentBytes) const;
    bool addRoot(std::string_view path);

    FolderTable& folders_;
    std::string lastPath_;
    std::optional<DirIndex> last_;
};

bool FolderPathReader::add(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    // The folder table would accept one more slash behind the parent's path.
    if (slash == std::string_view::npos || (slash > 0 && path[slash - 1] == '/')) return false;
    if (path == "/") return addRoot(path);
    const auto parent = parentOf(path, slash);
    if (!parent) return addRoot(path);
    // The parent's path was checked when it was added.
    const std::string_view name = path.substr(slash + 1);
    if (!isPlainComponent(name)) return false;
    const auto expected = static_cast<DirIndex>(folders_.count());
    if (folders_.internChild(*parent, name) != expected) return false;
    lastPath_ = path;
    last_ = expected;
    return true;
}

bool FolderPathReader::addRoot(std::string_view path) {
    const auto expected = static_cast<DirIndex>(folders_.count());
    if (!isPlainPath(path) || folders_.intern(path) != expected) return false;
    lastPath_ = path;
    last_ = expected;
    return folders_.roots().size() <= maxRoots;
}

std::optional<DirIndex> FolderPathReader::parentOf(std::string_view path, std::size_t parentBytes) const {
    auto above = last_;
    while (above && folders_.pathBytes(*above) > parentBytes)
        above = folders_.parent(*above);
    const bool isParent = above && folders_.pathBytes(*above) == parentBytes &&
                          std::string_view(lastPath_).starts_with(path.substr(0, parentBytes));
    return isParent ? above : folders_.find(parentPath(path));
}

class IndexImageReader {
public:
    IndexImageReader(const IndexImageSource& source, const IndexImageSubject& subject,
                     const std::stop_token& stop)
        : source_(source), subject_(subject), stop_(stop) {}

    bool read(bool withTrigrams) {
        return readHeader() && readFolders() && readPool() && readEntries() && !stop_.stop_requested() &&
               buildFromEntries() && readStamps() && (!withTrigrams || buildTrigrams()) &&
               !stop_.stop_requested();
    }

    const IndexImageHeader& header() const { return header_; }
    IndexContents& contents() { return contents_; }

private:
    bool readHeader() {
        const auto header = readRecord<IndexImageHeader>(source_, 0, IndexImageHeader::bytes);
        if (!header) return false;
        header_ = *header;
        return header_.magic == IndexImageHeader::expectedMagic &&
               header_.version == IndexImageHeader::expectedVersion &&
               header_.entryBytes == sizeof(FileEntry) &&
               header_.volumeDev == static_cast<std::int64_t>(subject_.volumeDev) && fitsTheSource();
    }

    /// Whether the source is long enough for the header's counts, so that memory is bounded by its size.
    bool fitsTheSource() const {
        constexpr std::uint32_t largestCount = std::numeric_limits<EntryId>::max();
        if (header_.folderCount > largestCount || header_.entryCount > largestCount) return false;
        const std::uint64_t least =
            header_.folderCount * std::uint64_t{minFolderBytes} + header_.poolBytes + entrySectionBytes();
        return least <= source_.size - IndexImageHeader::bytes;
    }

    std::uint64_t entrySectionBytes() const { return std::uint64_t{header_.entryCount} * sizeof(FileEntry); }

    bool readFolders() {
        // The paths take at most the bytes that the later sections leave.
        PodVector<char> section;
        const std::size_t most =
            source_.size - IndexImageHeader::bytes - header_.poolBytes - entrySectionBytes();
        if (!source_.read(IndexImageHeader::bytes, {section.extend(most), most})) return false;
        std::string_view rest(section.data(), most);
        contents_.directories.reserve(header_.folderCount);
        FolderPathReader paths(contents_.directories);
        for (std::uint32_t i = 0; i < header_.folderCount; ++i) {
            std::uint32_t length = 0;
            if (stop_.stop_requested() || rest.size() < sizeof length) return false;
            std::memcpy(&length, rest.data(), sizeof length);
            rest.remove_prefix(sizeof length);
            if (rest.size() < length || !paths.add(rest.substr(0, length))) return false;
            rest.remove_prefix(length);
        }
        poolOffset_ = IndexImageHeader::bytes + most - rest.size();
        return isOfTheRoot();
    }

    bool isOfTheRoot() const {
        if (!subject_.root) return true;
        return contents_.directories.count() > 0 && contents_.directories.path(0) == *subject_.root;
    }

    bool readPool() {
        pool_.reserve(header_.poolBytes + NamePool::readableSlack);
        auto* bytes = reinterpret_cast<char*>(pool_.extend(header_.poolBytes));
        preferLargePages(bytes, header_.poolBytes);
        return allPieces(header_.poolBytes, poolPieceBytes, [&](std::size_t first, std::size_t last) {
            const std::span piece(bytes + first, last - first);
            if (!source_.read(poolOffset_ + first, piece)) return false;
            const std::string_view names(piece.data(), piece.size());
            return names.find('/') == std::string_view::npos && names.find('\0') == std::string_view::npos;
        });
    }

    bool readEntries() {
        FileEntry* entries = contents_.entries.extend(header_.entryCount);
        preferLargePages(entries, entrySectionBytes());
        NameSignature* signatures = contents_.signatures.extend(header_.entryCount);
        preferLargePages(signatures, contents_.signatures.span().size_bytes());
        folderEntries_.resizeZeroed(header_.folderCount);
        const bool piecesAreSound =
            allPieces(header_.entryCount, entriesPerPiece,
                      [&](std::size_t first, std::size_t last) { return readPiece(first, last); });
        return piecesAreSound && piecesFollowEachOther();
    }

    bool readPiece(std::size_t first, std::size_t last) {
        FileEntry* entries = contents_.entries.data();
        const std::uint64_t offset = poolOffset_ + header_.poolBytes + first * sizeof(FileEntry);
        const std::size_t bytes = (last - first) * sizeof(FileEntry);
        if (!source_.read(offset, {reinterpret_cast<char*>(entries + first), bytes})) return false;
        std::uint64_t nameOffset = entries[first].nameOffset;
        for (std::size_t id = first; id < last; ++id) {
            const FileEntry& entry = entries[id];
            if (entry.nameOffset != nameOffset || !isSound(entry)) return false;
            const std::string_view name = nameOf(entry);
            if (!isEntryName(name)) return false;
            contents_.signatures[id] = nameSignature(name);
            if (entry.isFolder()) noteFolder(entry, name);
            nameOffset += entry.nameLen;
        }
        return true;
    }

    bool isSound(const FileEntry& entry) const {
        return std::uint64_t{entry.nameOffset} + entry.nameLen <= header_.poolBytes && entry.dirIndex >= 0 &&
               static_cast<std::uint32_t>(entry.dirIndex) < header_.folderCount && hasSoundFields(entry);
    }

    std::string_view nameOf(const FileEntry& entry) const {
        return {reinterpret_cast<const char*>(pool_.data()) + entry.nameOffset, entry.nameLen};
    }

    void noteFolder(const FileEntry& entry, std::string_view name) {
        const auto contents = contents_.directories.findChild(entry.dirIndex, name);
        if (!contents) return;
        const std::uint8_t found = hasEntry | (entry.isTombstone() ? 0 : hasLiveEntry);
        std::atomic_ref<std::uint8_t> all(folderEntries_[static_cast<std::size_t>(*contents)]);
        all.fetch_or(found, std::memory_order_relaxed);
    }

    /// Whether the names fill the pool without gaps. Within a piece that is checked already.
    bool piecesFollowEachOther() const {
        std::uint64_t end = 0;
        for (std::size_t first = 0; first < header_.entryCount; first += entriesPerPiece) {
            if (contents_.entries[first].nameOffset != end) return false;
            const std::size_t last = std::min<std::size_t>(first + entriesPerPiece, header_.entryCount) - 1;
            end = std::uint64_t{contents_.entries[last].nameOffset} + contents_.entries[last].nameLen;
        }
        return end == header_.poolBytes;
    }

    bool buildFromEntries() {
        const auto entries = contents_.entries.span();
        bool isSound = false;
        concurrentPerform(2, [&](std::size_t part) {
            if (part == 0) {
                contents_.names.assign(std::move(pool_), entries);
            } else {
                contents_.entriesByDir.assignAll(header_.folderCount, entries);
                noteTombstones();
                isSound = settleFolders();
            }
        });
        return isSound;
    }

    void noteTombstones() {
        const auto entries = contents_.entries.span();
        for (std::size_t id = entries.size(); id-- > 0;) {
            if (entries[id].isTombstone()) contents_.tombstones.insertGrowing(static_cast<EntryId>(id));
        }
        contents_.tombstoneCount = contents_.tombstones.count();
    }

    /// False unless each folder but the roots stands as an entry in its parent's list, where its removal or
    /// renaming starts. The contents of a deleted folder are forgotten and must be deleted themselves: a new
    /// folder at its path has others.
    bool settleFolders() {
        for (std::size_t i = 0; i < folderEntries_.size(); ++i) {
            const auto folder = static_cast<DirIndex>(i);
            const bool isRoot = !contents_.directories.parent(folder);
            if (isRoot || (folderEntries_[i] & hasLiveEntry) != 0) continue;
            if (folderEntries_[i] == 0 || contents_.entriesByDir.count(folder) != 0) return false;
            contents_.entriesByDir.forget(folder);
        }
        return true;
    }

    /// False after a request to stop.
    bool buildTrigrams() {
        contents_.trigram = std::make_shared<TrigramIndex>();
        return contents_.trigram->addAll(contents_.entries.span(), contents_.names, stop_);
    }

    /// Never fails: without stamps every folder counts as changed.
    bool readStamps() {
        const std::uint64_t offset = poolOffset_ + header_.poolBytes + entrySectionBytes();
        const auto section = readRecord<StampSectionHeader>(source_, offset);
        const std::uint64_t bytes = header_.folderCount * sizeof(FolderStamp);
        if (!section || section->magic != StampSectionHeader::expectedMagic ||
            section->contentBytes != bytes || bytes > source_.size - offset - sizeof *section ||
            !isPastEvent(header_.lastEventId, subject_.now))
            return true;
        auto* stamps = contents_.stamps.extend(header_.folderCount);
        if (!source_.read(offset + sizeof *section, {reinterpret_cast<char*>(stamps), bytes}))
            contents_.stamps.clear();
        return true;
    }

    /// Whether `isSoundPiece(first, last)` holds for all pieces; false also after a request to stop.
    template <typename IsSoundPiece>
    bool allPieces(std::size_t total, std::size_t pieceSize, const IsSoundPiece& isSoundPiece) const {
        std::atomic<bool> areSound = true;
        const auto check = [&](std::size_t first, std::size_t last) {
            if (areSound && !isSoundPiece(first, last)) areSound = false;
        };
        performInPieces(total, pieceSize, check, stop_);
        return areSound && !stop_.stop_requested();
    }

    const IndexImageSource& source_;
    const IndexImageSubject& subject_;
    const std::stop_token& stop_;
    IndexImageHeader header_{};
    std::uint64_t poolOffset_ = 0;
    PodVector<std::uint8_t> pool_;
    /// By folder, the entries that stand for it.
    static constexpr std::uint8_t hasEntry = 1;
    static constexpr std::uint8_t hasLiveEntry = 2;
    PodVector<std::uint8_t> folderEntries_;
    IndexContents contents_;
};

}  // namespace

IndexImageSource IndexImageSource::fromBytes(std::string_view bytes) {
    return {bytes.size(), [bytes](std::uint64_t offset, std::span<char> destination) {
                if (!destination.empty())
                    std::memcpy(destination.data(), bytes.data() + offset, destination.size());
                return true;
            }};
}

IndexImageSource IndexImageSource::fromFile(const RegularFile& file) {
    return {file.size(), [&file](std::uint64_t offset, std::span<char> destination) {
                while (!destination.empty()) {
                    const auto count = file.readAt(offset, destination);
                    if (!count || *count == 0) return false;
                    offset += *count;
                    destination = destination.subspan(*count);
                }
                return true;
            }};
}

std::optional<LoadedIndexImage> loadIndexImage(FileIndex& index, const IndexImageSource& source,
                                               const IndexImageSubject& subject,
                                               const std::stop_token& stop) {
    IndexImageReader reader(source, subject, stop);
    if (!reader.read(index.hasTrigramIndex())) return std::nullopt;
    index.replaceContents(std::move(reader.contents()));
    return LoadedIndexImage{.lastEventId = reader.header().lastEventId,
                            .count = static_cast<std::int64_t>(reader.header().entryCount)};
}

}  // namespace dovra
