#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace dovra {

/// Folders below some tops. Each has a number, which it keeps when it is renamed, its name, and the number of
/// the folder that holds it. Only tops have paths; other paths are built on request. A folder without a place
/// is detached, and keeps the folders below it. For one thread.
class FolderTree {
public:
    using Number = int;
    static constexpr Number none = -1;

    /// Longer paths are not built.
    static constexpr std::size_t maxPathBytes = 4096;

    /// The place of a folder.
    struct Place {
        Number nearest;         ///< the folder, or the nearest one above with a path that is not too long
        std::string_view path;  ///< of `nearest`; valid until the tree changes
    };

    bool contains(Number folder) const { return nodes_.contains(folder); }
    std::size_t count() const { return nodes_.size(); }

    /// Makes the folder the top at an absolute path.
    void putTop(Number folder, const std::string& path);

    /// Puts a folder, known or not, to a name in a known one. The former folder of that name is detached.
    /// Returns whether the folder is new at this place.
    bool put(Number folder, Number parent, const std::string& name);

    bool isAt(Number folder, Number parent, std::string_view name) const;

    /// Detaches the folder of that name.
    void detachAt(Number parent, const std::string& name);

    /// Removes the folder alone; its child folders are detached.
    void remove(Number folder);

    /// In no order.
    std::set<Number> detached() const { return detached_; }

    /// The folder and all below it.
    std::vector<Number> withAllBelow(Number folder) const;

    /// Whether `folder` is `above` or lies below it.
    bool isBelow(Number folder, Number above) const;

    /// Absent when the folder or one above it is detached. Between two changes of the tree, calls for many
    /// folders visit each folder above them once.
    std::optional<Place> placeOf(Number folder) const;

    /// Frees the memory of the known places.
    void forgetPlaces() { places_.clear(); }

    /// The folder at the path below the top at `top`, or none.
    Number find(Number top, std::string_view path) const;

private:
    struct Node {
        Number parent = none;  ///< none for a top and for a detached folder
        std::string name;      ///< for a top its path
        std::map<std::string, Number, std::less<>> children;
    };

    struct KnownPlace {
        Number nearest;
        std::string path;  ///< empty unless the folder is the nearest itself
    };

    void detach(Number folder);
    KnownPlace placeIn(const Node& node, Number folder) const;

    std::unordered_map<Number, Node> nodes_;
    std::set<Number> detached_;
    mutable std::unordered_map<Number, KnownPlace> places_;  ///< requested since the last change
};

}  // namespace dovra
