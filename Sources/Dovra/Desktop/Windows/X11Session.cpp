#include "Desktop/Windows/X11Session.hpp"

#include <QGuiApplication>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <xcb/xcb.h>

namespace dovra {

namespace {

/// Whether a program owns the selection: the sign by which desktops announce their services.
bool hasOwner(std::string_view selection) {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (QGuiApplication::platformName() != u"xcb" || x11 == nullptr) return false;
    xcb_connection_t* connection = x11->connection();
    const auto free = [](auto* reply) { std::free(reply); };
    const auto name =
        xcb_intern_atom(connection, false, static_cast<std::uint16_t>(selection.size()), selection.data());
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(free)> atom(
        xcb_intern_atom_reply(connection, name, nullptr), free);
    if (!atom) return false;
    const std::unique_ptr<xcb_get_selection_owner_reply_t, decltype(free)> owner(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, atom->atom), nullptr),
        free);
    return owner && owner->owner != XCB_NONE;
}

}  // namespace

bool X11Session::hasTrayHost() {
    return hasOwner("_NET_SYSTEM_TRAY_S0");
}

bool X11Session::isComposited() {
    return hasOwner("_NET_WM_CM_S0");
}

}  // namespace dovra
