#include "Desktop/Model/DesktopModule.hpp"
#include "Desktop/Windows/DesktopApplication.hpp"
#include "Desktop/Windows/Snapshot.hpp"

/// Found by its name in the opened module.
extern "C" __attribute__((visibility("default"))) const dovra::DesktopModule dovraDesktopModule;

const dovra::DesktopModule dovraDesktopModule = {
    .run = dovra::runDesktopApplication,
    .drawSnapshot = dovra::drawSnapshot,
};
