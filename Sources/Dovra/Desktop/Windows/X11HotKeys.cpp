#include "Desktop/Windows/X11HotKeys.hpp"

#include <QGuiApplication>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>
#include <xcb/xcb.h>

namespace dovra {

namespace {

template <typename T>
auto owned(T* reply) {
    return std::unique_ptr<T, decltype(&std::free)>(reply, &std::free);
}

/// Caps Lock and Num Lock, which must not keep a hot key from its work.
constexpr std::uint16_t lockMasks[] = {0, XCB_MOD_MASK_LOCK, XCB_MOD_MASK_2,
                                       XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2};
constexpr std::uint16_t countedModifiers =
    XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4;

}  // namespace

X11HotKeys::X11HotKeys() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    // The offscreen platform hands out an interface without a connection.
    if (QGuiApplication::platformName() != u"xcb" || x11 == nullptr) return;
    connection_ = x11->connection();
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    constexpr std::string_view name = "XKEYBOARD";
    const auto extension = owned(xcb_query_extension_reply(
        connection_, xcb_query_extension(connection_, name.size(), name.data()), nullptr));
    if (extension && extension->present != 0) keyboardEvent_ = extension->first_event;
}

X11HotKeys::~X11HotKeys() {
    for (const auto& [id, grab] : grabs_)
        ungrab(grab);
    if (connection_ != nullptr) xcb_flush(connection_);
}

void X11HotKeys::installHandler(std::function<void(std::uint32_t id)> pressed) {
    pressed_ = std::move(pressed);
    if (connection_ != nullptr) qGuiApp->installNativeEventFilter(this);
}

std::vector<std::uint8_t> X11HotKeys::placesOf(std::uint32_t keySymbol) const {
    const xcb_setup_t* setup = xcb_get_setup(connection_);
    const int first = setup->min_keycode;
    const auto mapping = owned(xcb_get_keyboard_mapping_reply(
        connection_,
        xcb_get_keyboard_mapping(connection_, setup->min_keycode,
                                 static_cast<std::uint8_t>(setup->max_keycode - first + 1)),
        nullptr));
    std::vector<std::uint8_t> places;
    if (!mapping) return places;
    const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(mapping.get());
    // The symbol without modifiers is the first of each key.
    for (int place = first; place <= setup->max_keycode; ++place)
        if (symbols[(place - first) * mapping->keysyms_per_keycode] == keySymbol)
            places.push_back(static_cast<std::uint8_t>(place));
    return places;
}

bool X11HotKeys::grab(Grab& grab) const {
    grab.places = placesOf(grab.key.keySymbol);
    std::vector<xcb_void_cookie_t> requests;
    for (const std::uint8_t place : grab.places) {
        for (const std::uint16_t locks : lockMasks) {
            const auto modifiers = std::uint16_t(grab.key.modifierMask | locks);
            requests.push_back(xcb_grab_key_checked(connection_, 1, root_, modifiers, place,
                                                    XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        }
    }
    bool isGranted = !requests.empty();
    for (const xcb_void_cookie_t request : requests)
        if (owned(xcb_request_check(connection_, request))) isGranted = false;
    return isGranted;
}

void X11HotKeys::ungrab(const Grab& grab) const {
    for (const std::uint8_t place : grab.places)
        for (const std::uint16_t locks : lockMasks)
            xcb_ungrab_key(connection_, place, root_, std::uint16_t(grab.key.modifierMask | locks));
}

void X11HotKeys::grabAgain() {
    held_.clear();
    for (auto& [id, entry] : grabs_) {
        ungrab(entry);
        (void)grab(entry);  // A key that is taken now stays without effect.
    }
}

void X11HotKeys::registerHotKey(std::uint32_t id, std::uint32_t keyCode, std::uint32_t modifiers,
                                std::function<void(bool isRegistered)> answer) {
    const auto key = systemHotKey(keyCode, modifiers);
    if (connection_ == nullptr || !key) return answer(false);
    Grab entry{.key = *key};
    const bool isGranted = grab(entry);
    if (isGranted) {
        grabs_.emplace(id, std::move(entry));
    } else {
        ungrab(entry);
    }
    answer(isGranted);
}

void X11HotKeys::unregisterHotKey(std::uint32_t id) {
    const auto found = grabs_.find(id);
    if (found == grabs_.end()) return;
    ungrab(found->second);
    xcb_flush(connection_);
    grabs_.erase(found);
}

void X11HotKeys::handlePress(std::uint8_t place, std::uint16_t state) {
    if (!held_.insert(place).second) return;
    for (const auto& [id, grab] : grabs_) {
        const bool isItsKey = std::ranges::find(grab.places, place) != grab.places.end();
        if (!isItsKey || (state & countedModifiers) != grab.key.modifierMask) continue;
        // Later, when the toolkit has the time of the press, without which no window may take the keyboard.
        QMetaObject::invokeMethod(
            &context_, [this, id = id] { pressed_(id); }, Qt::QueuedConnection);
    }
}

bool X11HotKeys::nativeEventFilter(const QByteArray& type, void* message, qintptr*) {
    if (type != "xcb_generic_event_t") return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const int kind = event->response_type & 0x7F;
    if (kind == XCB_KEY_PRESS || kind == XCB_KEY_RELEASE) {
        xcb_key_press_event_t key;
        std::memcpy(&key, event, sizeof key);
        if (kind == XCB_KEY_RELEASE) {
            held_.erase(key.detail);
        } else if (key.event == root_) {
            handlePress(key.detail, key.state);
        }
    } else if (kind == XCB_MAPPING_NOTIFY ||
               (keyboardEvent_ != 0 && kind == keyboardEvent_ && event->pad0 <= 1)) {
        // Kinds 0 and 1 of a keyboard's events: another keyboard, another layout.
        grabAgain();
    }
    return false;
}

}  // namespace dovra
