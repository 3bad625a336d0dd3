#pragma once

#include <string>

namespace dovra {

/// Why a file operation failed.
struct FileError {
    std::string message;  ///< what could not be done to which file and why, for a person to read
    int code = 0;         ///< the system's error number; 0 when the refusal is our own
};

}  // namespace dovra
