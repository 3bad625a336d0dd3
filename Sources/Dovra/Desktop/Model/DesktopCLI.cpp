#include "Desktop/Model/DesktopCLI.hpp"

#include <cstdlib>

#include "Base/Print.hpp"
#include "Desktop/Model/DesktopModule.hpp"
#include "Platform/ModuleFile.hpp"

namespace dovra {

namespace {

/// Null after a message when the windows cannot be had.
const DesktopModule* openWindows() {
    const auto path = companionFile(DesktopModule::fileName, DOVRA_MODULE_FOLDER);
    const ModuleExport found = openModule(path, DesktopModule::exportName);
    if (found.address == nullptr) {
        printError(
            "dovra: the windows cannot be loaded: {} (Debian: apt install libqt6widgets6 libqt6svg6; if they "
            "were not built, ./run builds them). dovra --help lists what works without\n",
            found.failure);
    }
    return static_cast<const DesktopModule*>(found.address);
}

}  // namespace

int DesktopCLI::run(Arguments args) {
    LaunchOptions options;
    if (const auto fault = readLaunchOptions(args, options)) {
        printError("dovra: {}; see dovra --help\n", *fault);
        return 2;
    }
    const DesktopModule* windows = openWindows();
    return windows == nullptr ? 1 : windows->run(options);
}

int DesktopCLI::runSnapshot(Arguments args) {
    SnapshotOptions options;
    if (asksForHelp(args)) {
        printOutput(
            "usage: dovra --snapshot [options] <file>\n\n"
            "Draws the search panel to a picture (PNG), without a display. DOVRA_APPEARANCE is \"light\" or "
            "\"dark\".\n\nOptions:\n{}",
            optionsHelp(snapshotOptionTable(options)));
        return 0;
    }
    const char* appearance = std::getenv("DOVRA_APPEARANCE");
    if (const auto fault = readSnapshotOptions(args, appearance == nullptr ? "" : appearance, options))
        return reportMisuse("--snapshot", *fault);
    const DesktopModule* windows = openWindows();
    return windows == nullptr ? 1 : windows->drawSnapshot(options);
}

}  // namespace dovra
