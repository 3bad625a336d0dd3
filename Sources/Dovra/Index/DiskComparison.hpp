#pragma once
#include <chrono>
#include <stop_token>
#include "Index/FileIndex.hpp"
#include "Index/FolderReplay.hpp"
#include "Platform/ChangeBatch.hpp"
namespace dovra {
class DiskComparison {
public:
    struct Piece { std::vector<std::string> paths; bool empty() const { return paths.empty(); } };
    struct Reading { std::vector<std::string> paths; };
    explicit DiskComparison(bool) {}
    Piece next(const FileIndex& index) {
        if (done) return {};
        done = true;
        return {listedFolders(index)};
    }
    static Reading read(const Piece& piece, std::chrono::milliseconds, const std::stop_token&) { return {piece.paths}; }
    ChangeBatch compare(const FileIndex&, const Reading& reading) { return {.paths = reading.paths}; }
    bool done = false;
};
}
