#pragma once

#include <filesystem>
#include <fmt/format.h>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Base/PathText.hpp"
#include "Platform/ChangeFeed.hpp"
#include "Support/TreeScript.hpp"

namespace dovra::test {

/// Random changes in a small tree with few names, so that the changes meet. A change that fails, because
/// another storm was faster, is left out.
class TreeStorm {
public:
    /// Verbs of `perform`; a verb that is listed twice is drawn twice as often.
    using Verbs = std::vector<const char*>;

    static inline const Verbs ofFiles = {"write",  "write",  "write",  "folder",  "folder",
                                         "rename", "rename", "remove", "symlink", "touch"};
    /// Folders move about with their contents.
    static inline const Verbs ofFolders = {"rename", "rename", "rename", "rename", "folder", "write"};

    TreeStorm(std::string root, unsigned seed, Verbs verbs = ofFiles)
        : root_(std::move(root)), random_(seed), verbs_(std::move(verbs)) {}

    /// A line for `perform`.
    std::string line() {
        const char* verb = verbs_[number(verbs_.size())];
        const std::string path = anyPath();
        return fmt::format("{} {} {}", verb, path, anyPath());
    }

    /// Makes one change of files or folders; returns the hints that an event service would give of it.
    ChangeBatch step() {
        const std::string drawn = line();
        std::istringstream words(drawn);
        std::string verb;
        std::string path;
        std::string to;
        words >> verb >> path >> to;
        path = root_ + "/" + path;
        to = root_ + "/" + to;
        const std::string parent(parentPath(path));
        std::error_code ignored;
        const bool makesFolders = verb == "folder" || !std::filesystem::exists(parent, ignored);
        perform(root_, drawn);
        if (verb == "rename") return {.paths = {parent, std::string(parentPath(to))}, .subtrees = {to}};
        if (!makesFolders && verb == "write") return {.files = {path}};
        ChangeBatch hints{.paths = {path, parent}};
        for (; makesFolders && path.size() > root_.size(); path = parentPath(path)) {
            hints.subtrees.push_back(path);
            hints.paths.emplace_back(parentPath(path));
        }
        return hints;
    }

    std::size_t number(std::size_t below) { return random_() % below; }

private:
    std::string anyPath() {
        static constexpr const char* names[] = {"a", "b", "c", "d", "e\xFF"};
        std::string path = names[number(std::size(names))];
        for (std::size_t depth = number(4); depth > 0; --depth)
            path.append("/").append(names[number(std::size(names))]);
        return path;
    }

    const std::string root_;
    std::mt19937 random_;
    const Verbs verbs_;
};

}  // namespace dovra::test
