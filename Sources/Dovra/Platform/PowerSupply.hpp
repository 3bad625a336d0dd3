#pragma once

#include <string>

namespace dovra {

/// Whether the machine draws on a battery of its own and nothing feeds it: one is discharging, and no mains
/// or USB supply is online. Batteries of devices (mice, headsets) do not count. False where the system tells
/// nothing. Reads some small files of the folder, which the kernel fills.
bool isOnBattery(const std::string& suppliesFolder = "/sys/class/power_supply");

}  // namespace dovra
