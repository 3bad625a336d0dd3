#pragma once

#include "Desktop/Model/LaunchOptions.hpp"

namespace dovra {

/// Draws the panel with the answer to a query into a PNG file, without a display. Waits for the index and for
/// the rows. Returns the status of the process, and reports what went wrong on standard error.
int drawSnapshot(const SnapshotOptions& options);

}  // namespace dovra
