#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <vector>

#include "Desktop/Model/GlobalHotKey.hpp"
#include "Platform/KeyCodes.hpp"

struct xcb_connection_t;

namespace dovra {

/// Hot keys of an X11 display: keys grabbed for the whole screen. Refuses all of them elsewhere.
class X11HotKeys : public HotKeyService, private QAbstractNativeEventFilter {
public:
    X11HotKeys();
    ~X11HotKeys() override;

    void installHandler(std::function<void(std::uint32_t id)> pressed) override;
    void registerHotKey(std::uint32_t id, std::uint32_t keyCode, std::uint32_t modifiers,
                        std::function<void(bool isRegistered)> answer) override;
    void unregisterHotKey(std::uint32_t id) override;

private:
    struct Grab {
        SystemHotKey key;
        std::vector<std::uint8_t> places = {};  ///< the keys that bear the symbol now
    };

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;
    void handlePress(std::uint8_t place, std::uint16_t state);
    /// The keys that bear a symbol.
    std::vector<std::uint8_t> placesOf(std::uint32_t keySymbol) const;
    /// False when another program has one of the keys.
    bool grab(Grab& grab) const;
    void ungrab(const Grab& grab) const;
    void grabAgain();

    xcb_connection_t* connection_ = nullptr;  ///< the toolkit's; null on other window systems
    std::uint32_t root_ = 0;
    std::uint8_t keyboardEvent_ = 0;  ///< of changed keyboards; 0 when the display has none
    std::function<void(std::uint32_t id)> pressed_;
    std::map<std::uint32_t, Grab> grabs_;
    std::set<std::uint8_t> held_;  ///< keys that are down: held keys repeat
    QObject context_;              ///< of queued calls
};

}  // namespace dovra
