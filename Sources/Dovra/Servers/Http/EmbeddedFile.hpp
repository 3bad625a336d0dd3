#pragma once

#include <span>
#include <string_view>

namespace dovra {

/// A template or asset of the pages, compiled in.
struct EmbeddedFile {
    std::string_view name;
    std::string_view hash;  ///< of the contents: another one with every change
    std::string_view text;
};

/// All of them; what the build made of the folders Pages and Assets.
std::span<const EmbeddedFile> embeddedFiles();

/// The one of that name; null when there is none.
const EmbeddedFile* findEmbeddedFile(std::string_view name);

}  // namespace dovra
