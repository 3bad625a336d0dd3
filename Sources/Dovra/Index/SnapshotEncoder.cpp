#include "Index/Snapshot.hpp"
#include "Index/SnapshotFormat.hpp"

namespace dovra {

namespace {

/// Collects small pieces, so that the sink is not called for each.
class PieceBuffer {
public:
    explicit PieceBuffer(const SnapshotSink& sink) : sink_(sink) {}

    void add(std::string_view bytes) {
        if (bytes_.size() + bytes.size() > capacity) flush();
        bytes_ += bytes;
    }

    void flush() {
        if (!bytes_.empty()) sink_(bytes_);
        bytes_.clear();
    }

private:
    static constexpr std::size_t capacity = std::size_t{256} * 1024;

    const SnapshotSink& sink_;
    std::string bytes_;
};

class SnapshotEncoder {
public:
    SnapshotEncoder(const FileIndex& index, const SnapshotSink& sink)
        : index_(index), directories_(index.directoriesLocked()), sink_(sink) {}

    std::optional<std::string> obstacle() const {
        if (directories_.roots().size() > maxRoots) return "too many folders lie apart from all others";
        if (directorySectionBytes() > maxDirectorySectionBytes)
            return "the paths of the folders take more than 4 GB";
        return std::nullopt;
    }

    void encode(DeviceId volumeDev, std::uint64_t lastEventId) const {
        writeHeader(volumeDev, lastEventId);
        writeDirectories();
        const NamePool& names = index_.namePoolLocked();
        sink_({reinterpret_cast<const char*>(names.bytes()), names.size()});
        const auto entries = std::as_bytes(index_.entriesLocked());
        sink_({reinterpret_cast<const char*>(entries.data()), entries.size()});
        writeStamps();
    }

private:
    /// A folder's path is as long as its parent's, a slash and its name; "/" counts as nothing there.
    std::uint64_t directorySectionBytes() const {
        PodVector<std::uint64_t> lengths;
        std::uint64_t total = 0;
        for (std::size_t i = 0; i < directories_.count(); ++i) {
            const auto folder = static_cast<DirIndex>(i);
            const auto parent = directories_.parent(folder);
            const std::uint64_t above = parent ? lengths[static_cast<std::size_t>(*parent)] + 1 : 0;
            lengths.push_back(above + directories_.name(folder).size());
            total += sizeof(std::uint32_t) + std::max<std::uint64_t>(lengths.back(), 1);
        }
        return total;
    }

    // The index itself ends the process before one of these counts outgrows its 32 bits.
    void writeHeader(DeviceId volumeDev, std::uint64_t lastEventId) const {
        const SnapshotHeader header{
            .magic = SnapshotHeader::expectedMagic,
            .version = SnapshotHeader::expectedVersion,
            .entryBytes = sizeof(FileEntry),
            .volumeDev = static_cast<std::int64_t>(volumeDev),
            .lastEventId = lastEventId,
            .directoryCount = static_cast<std::uint32_t>(directories_.count()),
            .entryCount = static_cast<std::uint32_t>(index_.entriesLocked().size()),
            .poolBytes = static_cast<std::uint32_t>(index_.namePoolLocked().size()),
        };
        sink_(bytesOf(header, SnapshotHeader::bytes));
    }

    void writeDirectories() const {
        PieceBuffer buffer(sink_);
        for (std::size_t i = 0; i < directories_.count(); ++i) {
            const std::string path = directories_.path(static_cast<DirIndex>(i));
            buffer.add(bytesOf(static_cast<std::uint32_t>(path.size())));
            buffer.add(path);
        }
        buffer.flush();
    }

    void writeStamps() const {
        PieceBuffer buffer(sink_);
        const StampSectionHeader header{.magic = StampSectionHeader::expectedMagic,
                                        .contentBytes = directories_.count() * sizeof(FolderStamp)};
        buffer.add(bytesOf(header));
        for (std::size_t i = 0; i < directories_.count(); ++i)
            buffer.add(bytesOf(index_.stampLocked(static_cast<DirIndex>(i))));
        buffer.flush();
    }

    const FileIndex& index_;
    const DirectoryTable& directories_;
    const SnapshotSink& sink_;
};

}  // namespace

std::optional<std::string> encodeSnapshot(const FileIndex& index, DeviceId volumeDev,
                                          std::uint64_t lastEventId, const SnapshotSink& sink) {
    const ReadGuard guard(index.rwlock);
    const SnapshotEncoder encoder(index, sink);
    if (auto obstacle = encoder.obstacle()) return obstacle;
    encoder.encode(volumeDev, lastEventId);
    return std::nullopt;
}

}  // namespace dovra
