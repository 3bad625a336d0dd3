#pragma once

#include <chrono>
#include <cstdint>
#include <stop_token>
#include <string>
#include <variant>
#include <vector>

#include "Index/FileIndex.hpp"
#include "Platform/ChangeFeed.hpp"

namespace dovra {

/// The folders whose names on the disk may differ from those in the index: the stamp is unknown, or is not
/// the one on the disk now. This replaces the history of changes that the system does not keep. The system is
/// asked once for each listed folder, on all processors and without the lock: 50 000 folders take some 0.1 s
/// when the system has them in memory. Folders too deep to be asked about are reported as a subtree of the
/// nearest folder above that is not. A file changed in place does not change its folder, and is not found. A
/// request to stop ends the call soon.
ChangeBatch changedFolders(const FileIndex& index, const std::stop_token& stop = {});

/// One round in which an index is compared with the disk, a piece at a time: first the stamps of all listed
/// folders, then their entries with all attributes. It finds changes that no event reported.
///
/// A piece goes through three steps. `next` and `compare` belong to the thread that changes the index, which
/// may change it between them. `read` asks the disk on any thread, without the index and without a lock. The
/// folders found are hints for `applyChanges`, which looks again. Emptying or replacing the index makes the
/// round void. The object keeps the paths of one piece.
class DiskComparison {
public:
    enum class Stage : std::uint8_t { stamps, entries };

    struct Folder {
        DirIndex position;
        std::string path;
        /// The folder's own path is too long for a system call; `path` is that of the nearest folder above
        /// with a shorter one. The folders below are left out.
        bool isTooDeep = false;
    };

    /// Folders to look at on the disk, and how.
    struct Piece {
        Stage stage;
        std::vector<Folder> folders;
    };

    /// The disk's answer for a folder: a stamp (unknown when there was no answer), a listing, or nothing when
    /// it could not be listed.
    using Sight = std::variant<std::monostate, FolderStamp, FolderListing>;

    struct Reading {
        Piece piece;
        std::vector<Sight> sights;  ///< of the piece's first folders, as many as there was time for
    };

    /// The round begins with this stage. After a replay the stamps need not be compared again.
    explicit DiskComparison(Stage first) : first_(first), stage_(first) {}

    /// The next piece, of one stage; without folders at the end of the round.
    Piece next(const FileIndex& index);

    /// Looks at the piece's folders, at least at one, until the time is up or a stop is requested.
    static Reading read(Piece piece, std::chrono::steady_clock::duration budget,
                        const std::stop_token& stop = {});

    /// Looks at one folder. A request to stop leaves it unseen.
    static Sight look(const Folder& folder, Stage stage, const std::stop_token& stop = {});

    /// The folders that differ, and once in a round those with folders below that are too deep. Called after
    /// each `next`. The next piece begins with the folders that the reading did not reach.
    ChangeBatch compare(const FileIndex& index, const Reading& reading);

private:
    std::vector<Folder> nextFolders(const FileIndex& index);

    Stage first_;
    Stage stage_;
    std::size_t position_ = 0;  ///< of the next folder
};

}  // namespace dovra
