#pragma once

#include <string>

namespace dovra {

/// The path of a file that comes with the program. It stands beside the program, as the build leaves it, or
/// else in `installedFolder`, which is relative to the program's folder: so the whole may be moved. When it
/// stands in neither, this is the path beside the program.
std::string companionFile(const std::string& name, const std::string& installedFolder);

/// Something that a module exports, or why it cannot be had.
struct ModuleExport {
    const void* address = nullptr;  ///< valid for the rest of the process's life
    std::string failure = {};
};

/// Opens the module with this path, with all libraries that it needs, and finds what it exports by that name.
ModuleExport openModule(const std::string& path, const char* name);

}  // namespace dovra
