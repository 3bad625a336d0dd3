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

#include "Base/JoinPath.hpp"

namespace dovra::test {

/// Does what a line of words says in the tree at `root`, such as "rename a/b c"; paths are relative to it. A
/// semicolon stands between changes of which nothing is to be seen one by one. False when one of them could
/// not be done.
inline bool perform(const std::string& root, const std::string& line) {
    namespace fs = std::filesystem;
    struct Verb {
        const char* word;
        bool (*run)(const std::string& path, const std::string& to);
    };
    static constexpr Verb verbs[] = {
        {"write",
         [](const std::string& path, const std::string&) {
             std::error_code ignored;
             fs::create_directories(fs::path(path).parent_path(), ignored);
             return static_cast<bool>(std::ofstream(path, std::ios::app) << "more" << std::flush);
         }},
        {"folder",
         [](const std::string& path, const std::string&) {
             std::error_code error;
             return fs::create_directories(path, error);
         }},
        {"rename", [](const std::string& path,
                      const std::string& to) { return ::rename(path.c_str(), to.c_str()) == 0; }},
        {"remove",
         [](const std::string& path, const std::string&) {
             std::error_code error;
             return fs::remove_all(path, error) > 0;
         }},
        {"link", [](const std::string& path,
                    const std::string& to) { return ::link(path.c_str(), to.c_str()) == 0; }},
        {"symlink",
         [](const std::string& path, const std::string&) { return ::symlink("nowhere", path.c_str()) == 0; }},
        {"forbid", [](const std::string& path, const std::string&) { return ::chmod(path.c_str(), 0) == 0; }},
        {"allow",
         [](const std::string& path, const std::string&) { return ::chmod(path.c_str(), 0755) == 0; }},
        {"tmpfs",
         [](const std::string& path, const std::string&) {
             return ::mount("tmpfs", path.c_str(), "tmpfs", 0, nullptr) == 0;
         }},
        {"proc", [](const std::string& path,
                    const std::string&) { return ::mount("proc", path.c_str(), "proc", 0, nullptr) == 0; }},
        {"bind",
         [](const std::string& path, const std::string& to) {
             return ::mount(path.c_str(), to.c_str(), nullptr, MS_BIND, nullptr) == 0;
         }},
        {"move",
         [](const std::string& path, const std::string& to) {
             return ::mount(path.c_str(), to.c_str(), nullptr, MS_MOVE, nullptr) == 0;
         }},
        {"umount", [](const std::string& path, const std::string&) { return ::umount(path.c_str()) == 0; }},
        {"detach", [](const std::string& path,
                      const std::string&) { return ::umount2(path.c_str(), MNT_DETACH) == 0; }},
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
