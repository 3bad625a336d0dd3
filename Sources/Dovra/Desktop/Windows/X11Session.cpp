#include "Desktop/Windows/X11Session.hpp"

#include <QGuiApplication>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <xcb/xcb.h>

namespace dovra {

namespace {

/// Null on other window systems.
xcb_connection_t* displayConnection() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return QGuiApplication::platformName() != u"xcb" || x11 == nullptr ? nullptr : x11->connection();
}

/// XCB_NONE when the display gives no answer.
xcb_atom_t atomOf(xcb_connection_t* connection, std::string_view name) {
    const auto asked =
        xcb_intern_atom(connection, false, static_cast<std::uint16_t>(name.size()), name.data());
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
        xcb_intern_atom_reply(connection, asked, nullptr), &std::free);
    return atom ? atom->atom : xcb_atom_t{XCB_NONE};
}

/// Whether a program owns the selection: the sign by which desktops announce their services.
bool hasOwner(std::string_view selection) {
    xcb_connection_t* connection = displayConnection();
    if (connection == nullptr) return false;
    const auto asked = xcb_get_selection_owner(connection, atomOf(connection, selection));
    const std::unique_ptr<xcb_get_selection_owner_reply_t, decltype(&std::free)> owner(
        xcb_get_selection_owner_reply(connection, asked, nullptr), &std::free);
    return owner && owner->owner != XCB_NONE;
}

}  // namespace

bool X11Session::hasTrayHost() {
    return hasOwner("_NET_SYSTEM_TRAY_S0");
}

bool X11Session::isComposited() {
    return hasOwner("_NET_WM_CM_S0");
}

void X11Session::showOnAllWorkspaces(WId window) {
    xcb_connection_t* connection = displayConnection();
    if (connection == nullptr) return;
    constexpr std::uint32_t all = 0xFFFFFFFF;
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, static_cast<xcb_window_t>(window),
                        atomOf(connection, "_NET_WM_DESKTOP"), XCB_ATOM_CARDINAL, 32, 1, &all);
}

}  // namespace dovra
