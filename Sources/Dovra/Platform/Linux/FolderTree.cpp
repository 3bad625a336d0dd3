#include "Platform/Linux/FolderTree.hpp"

#include <algorithm>

#include "Base/PathText.hpp"

namespace dovra {

void FolderTree::putTop(Number folder, const std::string& path) {
    Node& node = nodes_[folder];
    if (node.parent != none) detach(folder);
    detached_.erase(folder);
    node.name = path;
    places_.clear();
}

bool FolderTree::isAt(Number folder, Number parent, std::string_view name) const {
    const auto node = nodes_.find(folder);
    return node != nodes_.end() && node->second.parent == parent && node->second.name == name;
}

bool FolderTree::put(Number folder, Number parent, const std::string& name) {
    if (isAt(folder, parent, name)) return false;
    detachAt(parent, name);
    const auto [place, isNew] = nodes_.try_emplace(folder);
    if (!isNew) {
        detach(folder);
        detached_.erase(folder);
    }
    place->second.parent = parent;
    place->second.name = name;
    nodes_[parent].children[name] = folder;
    return true;
}

void FolderTree::detachAt(Number parent, const std::string& name) {
    const auto& children = nodes_[parent].children;
    if (const auto child = children.find(name); child != children.end()) detach(child->second);
}

void FolderTree::detach(Number folder) {
    Node& node = nodes_[folder];
    if (node.parent != none) nodes_[node.parent].children.erase(node.name);
    node.parent = none;
    detached_.insert(folder);
    places_.clear();
}

void FolderTree::remove(Number folder) {
    detach(folder);
    detached_.erase(folder);
    const auto node = nodes_.extract(folder);
    for (const auto& [name, child] : node.mapped().children) {
        nodes_[child].parent = none;
        detached_.insert(child);
    }
}

std::vector<FolderTree::Number> FolderTree::withAllBelow(Number folder) const {
    std::vector<Number> all = {folder};
    for (std::size_t i = 0; i < all.size(); ++i) {
        for (const auto& [name, child] : nodes_.at(all[i]).children)
            all.push_back(child);
    }
    return all;
}

bool FolderTree::isBelow(Number folder, Number above) const {
    for (auto node = nodes_.find(folder); node != nodes_.end(); node = nodes_.find(node->second.parent)) {
        if (node->first == above) return true;
    }
    return false;
}

std::optional<FolderTree::Place> FolderTree::placeOf(Number folder) const {
    std::vector<Number> unknown;
    Number at = folder;
    for (; !places_.contains(at); at = nodes_.at(at).parent) {
        if (!nodes_.contains(at)) return std::nullopt;
        unknown.push_back(at);
        if (nodes_.at(at).parent == none) break;
    }
    for (; !unknown.empty(); unknown.pop_back())
        places_.emplace(unknown.back(), placeIn(nodes_.at(unknown.back()), unknown.back()));
    const Number nearest = places_.at(folder).nearest;
    if (nearest == none) return std::nullopt;
    return Place{nearest, places_.at(nearest).path};
}

/// The place of a child of a folder whose place is known.
FolderTree::KnownPlace FolderTree::placeIn(const Node& node, Number folder) const {
    if (node.parent == none) {
        const bool isTop = !detached_.contains(folder);
        return {isTop ? folder : none, isTop ? node.name : ""};
    }
    const KnownPlace& parent = places_.at(node.parent);
    const bool isShort =
        parent.nearest == node.parent && parent.path.size() + 1 + node.name.size() <= maxPathBytes;
    return isShort ? KnownPlace{folder, joinPath(parent.path, node.name)} : KnownPlace{parent.nearest, ""};
}

FolderTree::Number FolderTree::find(Number top, std::string_view path) const {
    Number at = top;
    while (!path.empty()) {
        const auto node = nodes_.find(at);
        if (node == nodes_.end()) return none;
        const std::string_view name = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(name.size() + 1, path.size()));
        const auto child = node->second.children.find(name);
        if (child == node->second.children.end()) return none;
        at = child->second;
    }
    return at;
}

}  // namespace dovra
