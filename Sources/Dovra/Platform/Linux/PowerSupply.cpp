#include "Platform/PowerSupply.hpp"

#include <filesystem>
#include <fstream>

namespace dovra {

namespace {

/// The attribute's text; empty when the supply has none of this name.
std::string attribute(const std::filesystem::path& supply, const char* name) {
    std::string value;
    std::getline(std::ifstream(supply / name), value);
    return value;
}

}  // namespace

bool isOnBattery(const std::string& suppliesFolder) {
    bool isDischarging = false;
    std::error_code none;
    for (const auto& supply : std::filesystem::directory_iterator(suppliesFolder, none)) {
        if (attribute(supply, "scope") == "Device") continue;
        if (attribute(supply, "type") == "Battery") {
            isDischarging |= attribute(supply, "status") == "Discharging";
        } else if (const std::string online = attribute(supply, "online"); !online.empty() && online != "0") {
            // USB supplies have several numbers for "online".
            return false;
        }
    }
    return isDischarging;
}

}  // namespace dovra
