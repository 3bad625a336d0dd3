#include "Base/FatalError.hpp"

#include <cstdio>
#include <cstdlib>
#include <fmt/core.h>

namespace dovra {

void fatalError(std::string_view message) {
    fmt::print(stderr, "dovra: fatal: {}\n", message);
    std::abort();
}

}  // namespace dovra
