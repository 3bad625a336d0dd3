#pragma once

#include <chrono>
#include <stop_token>
#include <variant>
#include <vector>

#include "Index/FileIndex.hpp"
#include "Index/ListedFolders.hpp"
#include "Platform/ChangeBatch.hpp"

namespace dovra {

/// One round in which an index is compared with the disk, a piece at a time: first the stamps of all listed
/// folders, then their entries with all attributes. It finds what no event told.
///
/// A piece goes through three steps. `next` and `compare` belong to the one thread that changes the index,
/// which may change it between them; `read` asks the disk on any thread, without the index and without a
/// lock. What is found is a hint for `applyChanges`, which looks again. When the index is emptied or
/// replaced, the round is void.
class DiskComparison {
public:
    /// After a replay the stamps need not be compared again.
    explicit DiskComparison(bool withStamps) : stage_(withStamps ? Stage::stamps : Stage::entries) {}

    enum class Stage : std::uint8_t { stamps, entries };

    /// What is to be asked of the disk.
    struct Piece {
        Stage stage;
        std::vector<ListedFolder> folders;
    };

    /// What the disk said of a folder: nothing when it may not be read or is not there, which the folder
    /// above tells.
    using Sight = std::variant<std::monostate, FolderStamp, DirectoryListing>;

    struct Reading {
        Piece piece;
        std::vector<Sight> sights;  ///< of the piece's first folders, as many as there was time for
    };

    /// The next piece; without folders at the end of the round.
    Piece next(const FileIndex& index);

    /// Looks at the piece's folders, at least at one, until the time is up or a stop is requested.
    static Reading read(Piece piece, std::chrono::steady_clock::duration budget,
                        const std::stop_token& stop = {});

    /// The folders that differ. Comes after each `next`; what the reading did not come to is the next piece.
    ChangeBatch compare(const FileIndex& index, const Reading& reading);

private:
    Stage stage_;
    ListedFolders folders_;
};

}  // namespace dovra
