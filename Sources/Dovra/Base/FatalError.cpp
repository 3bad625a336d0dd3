#include "Base/FatalError.hpp"

#include <cstdlib>

#include "Base/PrintError.hpp"

namespace dovra {

void fatalError(std::string_view message) {
    printError("dovra: fatal: {}\n", message);
    std::abort();
}

}  // namespace dovra
