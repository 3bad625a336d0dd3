#pragma once

#include <optional>
#include <string>
#include <vector>

namespace dovra {

/// Reads what users and programs attached to a file. Stateless; safe from any thread.
struct XattrReader {
    /// The bytes of the attribute `name` of the "user." namespace; absent when it cannot be read.
    static std::optional<std::string> read(const std::string& name, const std::string& path);

    /// The names of the file's tags, each once: those of the tag attribute that comes with files from other
    /// systems, then those that this desktop's own programs write. None when nothing can be read.
    static std::vector<std::string> userTags(const std::string& path);
};

}  // namespace dovra
