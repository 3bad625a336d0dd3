#include "Servers/Http/EmbeddedFile.hpp"

#include <algorithm>

namespace dovra {

const EmbeddedFile* findEmbeddedFile(std::string_view name) {
    const auto files = embeddedFiles();
    const auto found = std::ranges::find(files, name, &EmbeddedFile::name);
    return found == files.end() ? nullptr : &*found;
}

}  // namespace dovra
