#pragma once

#include <string>

namespace dovra {

/// Whether the machine runs on its own battery: one is discharging, and no mains or USB supply is online.
/// Batteries of devices (mice, headsets) do not count. False on a system without that information. Reads some
/// small files of the folder, which the kernel fills.
bool isOnBattery(const std::string& suppliesFolder = "/sys/class/power_supply");

}  // namespace dovra
