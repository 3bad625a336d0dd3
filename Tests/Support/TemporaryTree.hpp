#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace dovra::test {

/// A folder of its own for one test, removed with its contents at the end.
class TemporaryTree {
public:
    TemporaryTree() {
        std::string pattern = (std::filesystem::temp_directory_path() / "dovra-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot create " + pattern);
        path_ = pattern;
    }
    ~TemporaryTree() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryTree(const TemporaryTree&) = delete;
    TemporaryTree& operator=(const TemporaryTree&) = delete;

    /// The absolute path of the folder, or of a place in it.
    const std::string& path() const { return path_; }
    std::string path(std::string_view relativePath) const { return path_ + "/" + std::string(relativePath); }

    /// Writes a file, with the folders on its way; returns its absolute path.
    std::string write(std::string_view relativePath, std::string_view bytes = {}) const {
        std::string file = path(relativePath);
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::ofstream stream(file, std::ios::binary);
        stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!stream.flush()) throw std::runtime_error("cannot write " + file);
        return file;
    }

    std::string makeFolder(std::string_view relativePath) const {
        std::filesystem::create_directories(path(relativePath));
        return path(relativePath);
    }

private:
    std::string path_;
};

}  // namespace dovra::test
