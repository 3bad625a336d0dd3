#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Options.hpp"
#include "Base/Theme.hpp"
#include "Services/ServiceOptions.hpp"

namespace dovra {

/// What a start asks of the panel. A second start hands this to the program that runs already, and ends.
struct LaunchRequest {
    std::optional<std::string> query = {};  ///< to be shown with its answer
    bool toggles = false;                   ///< hides a visible panel
    bool isQuiet = false;                   ///< shows nothing: the program is to run, no more
};

/// The options of the desktop application.
struct LaunchOptions {
    ServiceOptions index;
    LaunchRequest request;
};

std::vector<Option> launchOptionTable(LaunchOptions& options);

/// Reads the arguments into `options`. Returns the fault in them, if any. "--query" without a query, as the
/// last argument, is none.
std::optional<std::string> readLaunchOptions(Arguments arguments, LaunchOptions& options);

/// A size in points.
struct PanelSize {
    int width = 760;
    int height = 560;

    bool operator==(const PanelSize&) const = default;
};

/// The options of a picture of the panel.
struct SnapshotOptions {
    ServiceOptions index;
    std::string query;
    bool hasPreview = false;  ///< of the first row
    PanelSize size;
    double scale = 1;      ///< pixels a point
    bool isEarly = false;  ///< with the first rows, while the index is still made
    Appearance appearance = Appearance::light;
    std::string outputPath;
};

std::vector<Option> snapshotOptionTable(SnapshotOptions& options);

/// Reads the arguments and the value of `DOVRA_APPEARANCE` ("light", "dark" or empty) into `options`. Returns
/// the fault in them, if any.
std::optional<std::string> readSnapshotOptions(Arguments arguments, std::string_view appearance,
                                               SnapshotOptions& options);

}  // namespace dovra
