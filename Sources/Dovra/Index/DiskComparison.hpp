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

/// The folders whose lists of names may differ from what the index holds: those whose stamp is not known, or
/// is not the one that the disk gives now. What makes up for the history of changes that the system does not
/// keep. Asks the system once for each listed folder, on all processors and without the lock: 50 000 folders
/// take some 0.1 s when the system has them in memory. What is too deep to be asked about is told as a
/// subtree of the nearest folder above that is not. A file that was changed in place does not change its
/// folder, and is not found. A request to stop ends it soon.
ChangeBatch changedFolders(const FileIndex& index, const std::stop_token& stop = {});

/// One round in which an index is compared with the disk, a piece at a time: first the stamps of all listed
/// folders, then their entries with all attributes. It finds what no event told.
///
/// A piece goes through three steps. `next` and `compare` belong to the one thread that changes the index,
/// which may change it between them; `read` asks the disk on any thread, without the index and without a
/// lock. What is found is a hint for `applyChanges`, which looks again. When the index is emptied or
/// replaced, the round is void. It keeps the paths of one piece.
class DiskComparison {
public:
    enum class Stage : std::uint8_t { stamps, entries };

    struct Folder {
        DirIndex position;
        std::string path;
        /// Its own path is longer than the system can be asked by; `path` is that of the nearest folder above
        /// with a shorter one. What lies below it is left out.
        bool isTooDeep = false;
    };

    /// What is to be asked of the disk.
    struct Piece {
        Stage stage;
        std::vector<Folder> folders;
    };

    /// What the disk said of a folder: a stamp (not known when it cannot be asked), a listing, or nothing
    /// when there could be none.
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

    /// The folders that differ, and once in a round those below which it is too deep to look. Comes after
    /// each `next`; what the reading did not come to is the next piece.
    ChangeBatch compare(const FileIndex& index, const Reading& reading);

private:
    std::vector<Folder> nextFolders(const FileIndex& index);

    Stage first_;
    Stage stage_;
    std::size_t position_ = 0;  ///< of the next folder
};

}  // namespace dovra
