#pragma once

#include <string>

namespace dovra {

/// The failure of a file operation.
struct FileError {
    std::string message;  ///< the operation, the file and the reason, for a person to read
    int code = 0;         ///< the system's error number; 0 for a refusal by Dovra itself
};

}  // namespace dovra
