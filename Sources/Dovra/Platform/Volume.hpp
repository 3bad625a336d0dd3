#pragma once

#include <vector>

#include "Platform/OpenFolder.hpp"

namespace dovra {

/// The devices of the startup volume: those of "/" and "/home", and of every other mount of the same block
/// devices, such as the subvolumes of one file system. Unmounted snapshots and network mounts have other
/// devices, and stay out.
std::vector<DeviceId> startupVolumeDevices();

}  // namespace dovra
