#pragma once

#include <vector>

#include "Platform/OpenFolder.hpp"

namespace dovra {

/// The devices of the startup volume: those of "/" and "/home" (each if it can be asked) and of every other
/// mount of the same block devices, such as the subvolumes of one file system. Snapshots that are not mounted
/// and network mounts stay out, because their devices are not among these.
std::vector<DeviceId> startupVolumeDevices();

}  // namespace dovra
