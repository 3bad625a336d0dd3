#include "Base/Concurrency.hpp"

#include <algorithm>
#include <thread>

namespace dovra {

std::size_t activeProcessorCount() {
    return std::max(1U, std::thread::hardware_concurrency());
}

}  // namespace dovra
