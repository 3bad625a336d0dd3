#pragma once

#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "Platform/ChangeBatch.hpp"

namespace dovra::test {

/// Random changes in a small tree, crowded into few names so that they meet: files and folders are made,
/// written, renamed over each other, replaced by another kind and removed. What fails (another storm was
/// faster) is not done.
class TreeStorm {
public:
    TreeStorm(std::string root, unsigned seed) : root_(std::move(root)), random_(seed) {}

    /// Mostly folders that move about with what they hold.
    void stepOfFolders() {
        const std::size_t kind = random_() % 10;
        if (kind < 7) {
            ::rename(anyPath().c_str(), anyPath().c_str());
        } else if (kind < 9) {
            makeFolders(anyPath());
        } else {
            write(anyPath() + "/file", O_CREAT | O_WRONLY | O_TRUNC);
        }
    }

    /// One change; returns the hints that an event service would give of it.
    ChangeBatch step() {
        switch (random_() % 10) {
            case 0:
            case 1:
                return write(anyPath(), O_CREAT | O_WRONLY | O_TRUNC);
            case 2:
                return write(anyPath(), O_WRONLY | O_APPEND);
            case 3:
            case 4:
                return makeFolders(anyPath());
            case 5:
            case 6:
                return move(anyPath(), anyPath());
            case 7:
                return removeAll(anyPath());
            case 8:
                return link(anyPath());
            default:
                return stamp(anyPath());
        }
    }

private:
    std::string anyName() {
        static const char* const names[] = {"a", "b", "c", "d\n", "e\xFF", "f"};
        return names[random_() % std::size(names)];
    }

    std::string anyPath() {
        std::string path = root_;
        for (std::size_t depth = 1 + random_() % 4; depth > 0; --depth)
            path.append("/").append(anyName());
        return path;
    }

    static std::string parentOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

    ChangeBatch write(const std::string& path, int flags) {
        const int file = ::open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (file < 0) return {};
        const std::string bytes(random_() % 5000, 'x');
        (void)!::write(file, bytes.data(), bytes.size());
        ::close(file);
        return {.files = {path}};
    }

    ChangeBatch makeFolders(const std::string& path) {
        const std::string below = fmt::format("{}/{}/{}", path, anyName(), anyName());
        std::error_code ignored;
        std::filesystem::create_directories(below, ignored);
        ChangeBatch hints;
        for (std::string at = below; at.size() > root_.size(); at = parentOf(at)) {
            hints.subtrees.push_back(at);
            hints.paths.push_back(parentOf(at));
        }
        return hints;
    }

    ChangeBatch move(const std::string& from, const std::string& to) {
        // A folder gives way to nothing but an empty folder, so half of the targets are cleared before.
        if (random_() % 2 == 0 && !to.starts_with(from) && !from.starts_with(to)) removeAll(to);
        ::rename(from.c_str(), to.c_str());
        return {.paths = {parentOf(from), parentOf(to)}, .subtrees = {to}};
    }

    ChangeBatch removeAll(const std::string& path) {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
        return {.paths = {path, parentOf(path)}, .subtrees = {}};
    }

    ChangeBatch link(const std::string& path) {
        // Leading nowhere, so that every path names what it says.
        (void)!::symlink("nowhere", path.c_str());
        return {.files = {path}};
    }

    /// Sets a time that the clock would not give, so that a missed change shows.
    ChangeBatch stamp(const std::string& path) {
        const timespec time{.tv_sec = static_cast<time_t>(random_() % 1'000'000'000), .tv_nsec = 0};
        const timespec both[] = {time, time};
        ::utimensat(AT_FDCWD, path.c_str(), both, AT_SYMLINK_NOFOLLOW);
        return {.paths = {path, parentOf(path)}, .subtrees = {}};
    }

    std::string root_;
    std::mt19937 random_;
};

}  // namespace dovra::test
