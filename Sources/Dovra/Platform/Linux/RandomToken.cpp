#include "Platform/RandomToken.hpp"

#include <array>
#include <cstdint>
#include <fmt/format.h>
#include <sys/random.h>

#include "Base/Print.hpp"

namespace dovra {

std::string randomToken() {
    std::array<std::uint8_t, 16> bytes{};
    // So few come at once, or not at all.
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        fatalError("the system has no random numbers");
    return fmt::format("{:02x}", fmt::join(bytes, ""));
}

}  // namespace dovra
