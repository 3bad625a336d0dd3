#pragma once

#include <optional>
#include <string>

namespace dovra {

/// The folder of the running program. Absent when the system does not tell, or the program was deleted.
std::optional<std::string> programFolder();

/// Something that a module exports, or why it cannot be had.
struct ModuleExport {
    const void* address = nullptr;  ///< valid for the rest of the process's life
    std::string failure = {};
};

/// Opens the module with this path, with all libraries that it needs, and finds what it exports by that name.
ModuleExport openModule(const std::string& path, const char* name);

}  // namespace dovra
