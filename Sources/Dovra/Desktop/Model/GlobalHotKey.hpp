#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace dovra {

/// The service of a window system that tells of a key whichever program is in front. It is used on the main
/// thread only, and calls back there.
class HotKeyService {
public:
    virtual ~HotKeyService() = default;

    /// From now on each press of a registered key calls `pressed` with its id: once, however long it is held.
    /// Called once, before all registrations.
    virtual void installHandler(std::function<void(std::uint32_t id)> pressed) = 0;

    /// Asks for a key: a virtual key code and bits of `HotKeyModifier`. `answer` is called once, during the
    /// call or later: true when presses will be told, false when the key is taken, not known, or the system
    /// tells of no keys.
    virtual void registerHotKey(std::uint32_t id, std::uint32_t keyCode, std::uint32_t modifiers,
                                std::function<void(bool isRegistered)> answer) = 0;

    /// Gives a key back, or withdraws a request that has no answer yet.
    virtual void unregisterHotKey(std::uint32_t id) = 0;
};

class GlobalHotKey;

/// The hot keys of a program by their ids. It outlives them, and hands each press to the one it belongs to.
class HotKeyRegistry {
public:
    explicit HotKeyRegistry(std::unique_ptr<HotKeyService> service) : service_(std::move(service)) {}

private:
    friend class GlobalHotKey;

    void installHandlerIfNeeded();
    void handlePress(std::uint32_t id) const;

    std::uint32_t nextId_ = 1;
    bool handlerInstalled_ = false;
    std::map<std::uint32_t, GlobalHotKey*> registry_;  ///< asked for and not refused
    std::unique_ptr<HotKeyService> service_;           ///< last: it calls back
};

/// One hot key of the whole system, for its lifetime. A key that another program has taken never fires. Main
/// thread only.
class GlobalHotKey {
public:
    /// `refused` is called once if the key cannot be had, during the construction or later.
    GlobalHotKey(HotKeyRegistry& registry, std::uint32_t keyCode, std::uint32_t modifiers,
                 std::function<void()> callback, std::function<void()> refused = {});
    ~GlobalHotKey();
    GlobalHotKey(const GlobalHotKey&) = delete;
    GlobalHotKey& operator=(const GlobalHotKey&) = delete;

    std::uint32_t id() const { return id_; }  ///< unique among the registry's hot keys

private:
    friend class HotKeyRegistry;

    HotKeyRegistry& registry_;
    std::function<void()> callback_;
    std::function<void()> refused_;
    std::uint32_t id_;
};

}  // namespace dovra
