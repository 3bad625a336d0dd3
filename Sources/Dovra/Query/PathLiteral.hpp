#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/ByteNeedle.hpp"
#include "Index/EntrySet.hpp"
#include "Index/FileIndex.hpp"
#include "Query/NameScan.hpp"

namespace dovra {

/// Finds the entries whose full path contains a literal, with one look at each folder and not at each path.
///
/// A full path is a folder's path, "/" and a name. So the literal lies in the folder's path (then all entries
/// of the folder match), in the name (if it has no slash), or across the seam. At the seam, the folder's path
/// ends with the text before the literal's last slash, and the name begins with the text behind it. Two facts
/// about a folder are needed: whether its path contains the literal, and whether it ends with the first j
/// parts. Both follow from its own name and its parent's facts, so one pass over the folders settles them.
class PathLiteral {
public:
    /// Whether a literal can be searched: it is not empty and has fewer slashes than a word has bits.
    static bool canSearch(std::string_view literal);

    /// Settles the facts about every folder. The index's read lock is held, here and while the object is
    /// used.
    PathLiteral(const FileIndex& index, std::string_view literal, bool fold);

    /// Adds every entry of the range whose full path contains the literal, some tombstones included. The
    /// range begins at a multiple of 64. Any number of threads may call it.
    void scan(EntryRange range, EntrySet& hits) const;

private:
    /// Bit j, from 1, is set when the folder's path and a slash end with the first j parts and their slashes.
    using Endings = std::uint64_t;

    /// A run of a folder's entries: all match, or those whose names begin with the last part.
    struct FolderRun {
        EntryRange entries;
        bool takesAll;
    };

    void searchFolderNames();
    void judgeFolder(DirIndex folder);
    void judgeRoot(DirIndex root);
    Endings endingsBelow(Endings parent, std::string_view name) const;
    bool endsAtSeam(DirIndex folder) const;
    void collectRuns();
    void addRun(DirIndex folder, EntryRange entries);
    void scanSeam(EntryRange entries, EntrySet& hits) const;

    bool equal(std::string_view a, std::string_view part) const { return equalFolding(a, part, fold_); }
    bool startsWithLastPart(std::string_view name) const;
    bool endsWithFirstPart(std::string_view text) const;

    const FileIndex& index_;
    const bool fold_;
    const ByteNeedle needle_;
    const std::vector<std::string_view> parts_;  ///< the needle between its slashes
    std::optional<ScanNeedle> nameNeedle_;       ///< when the literal has no slash
    std::vector<Endings> endings_;               ///< of each folder, when the literal has a slash
    std::vector<std::uint8_t> contains_;         ///< whether each folder's path contains the literal
    std::vector<FolderRun> runs_;                ///< ascending, without overlaps
};

}  // namespace dovra
