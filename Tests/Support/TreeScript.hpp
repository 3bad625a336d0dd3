#pragma once

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sstream>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "Base/PathText.hpp"

namespace dovra::test {

inline bool mounted(const std::string& what, const std::string& place, const char* type, unsigned long how) {
    return ::mount(what.c_str(), place.c_str(), type, how, nullptr) == 0;
}

/// Performs a line of words in the tree at `root`, such as "rename a/b c". Paths are relative to the root. A
/// semicolon separates changes that are not observed one by one. False when one of them failed.
inline bool perform(const std::string& root, const std::string& line) {
    namespace fs = std::filesystem;
    using Path = const std::string&;
    struct Verb {
        const char* word;
        bool (*run)(Path path, Path to);
    };
    static thread_local std::error_code error;
    static constexpr Verb verbs[] = {
        {"write",
         [](Path path, Path) {
             fs::create_directories(fs::path(path).parent_path(), error);
             return static_cast<bool>(std::ofstream(path, std::ios::app) << "more" << std::flush);
         }},
        {"folder", [](Path path, Path) { return fs::create_directories(path, error); }},
        {"rename", [](Path path, Path to) { return ::rename(path.c_str(), to.c_str()) == 0; }},
        {"remove", [](Path path, Path) { return fs::remove_all(path, error) + 1 > 1; }},
        {"link", [](Path path, Path to) { return ::link(path.c_str(), to.c_str()) == 0; }},
        {"symlink", [](Path path, Path) { return ::symlink("no/where", path.c_str()) == 0; }},
        {"forbid", [](Path path, Path) { return ::chmod(path.c_str(), 0) == 0; }},
        {"allow", [](Path path, Path) { return ::chmod(path.c_str(), 0755) == 0; }},
        // The time is one that the clock does not give.
        {"touch",
         [](Path path, Path salt) {
             const timespec time{
                 .tv_sec = static_cast<time_t>(std::hash<std::string>()(salt) % 1'000'000'000), .tv_nsec = 0};
             const timespec both[] = {time, time};
             return ::utimensat(AT_FDCWD, path.c_str(), both, AT_SYMLINK_NOFOLLOW) == 0;
         }},
        {"tmpfs", [](Path path, Path) { return mounted("tmpfs", path, "tmpfs", 0); }},
        {"proc", [](Path path, Path) { return mounted("proc", path, "proc", 0); }},
        {"bind", [](Path path, Path to) { return mounted(path, to, nullptr, MS_BIND); }},
        {"move", [](Path path, Path to) { return mounted(path, to, nullptr, MS_MOVE); }},
        {"umount", [](Path path, Path) { return ::umount(path.c_str()) == 0; }},
        {"detach", [](Path path, Path) { return ::umount2(path.c_str(), MNT_DETACH) == 0; }},
    };
    bool isDone = true;
    for (std::size_t at = 0, end = 0; end != std::string::npos; at = end + 2) {
        end = line.find("; ", at);
        std::istringstream words(line.substr(at, end - at));
        std::string word;
        std::string path;
        std::string to;
        words >> word >> path >> to;
        const Verb* verb = std::ranges::find_if(verbs, [&](const Verb& each) { return each.word == word; });
        isDone = verb != std::end(verbs) && verb->run(joinPath(root, path), joinPath(root, to)) && isDone;
    }
    return isDone;
}

}  // namespace dovra::test
