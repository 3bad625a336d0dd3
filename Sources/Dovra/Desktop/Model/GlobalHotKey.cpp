#include "Desktop/Model/GlobalHotKey.hpp"

#include <limits>
#include <utility>

#include "Base/Print.hpp"

namespace dovra {

void HotKeyRegistry::installHandlerIfNeeded() {
    if (std::exchange(handlerInstalled_, true)) return;
    service_->installHandler([this](std::uint32_t id) { handlePress(id); });
}

void HotKeyRegistry::handlePress(std::uint32_t id) const {
    const auto found = registry_.find(id);
    if (found == registry_.end()) return;
    // A copy, because the callback may end its hot key.
    const auto callback = found->second->callback_;
    callback();
}

GlobalHotKey::GlobalHotKey(HotKeyRegistry& registry, std::uint32_t keyCode, std::uint32_t modifiers,
                           std::function<void()> callback, std::function<void()> refused)
    : registry_(registry),
      callback_(std::move(callback)),
      refused_(std::move(refused)),
      id_(registry.nextId_) {
    if (id_ == std::numeric_limits<std::uint32_t>::max()) fatalError("no hot key can have a further number");
    ++registry.nextId_;
    registry.installHandlerIfNeeded();
    registry.registry_.emplace(id_, this);
    registry.service_->registerHotKey(id_, keyCode, modifiers, [&registry, id = id_](bool isRegistered) {
        const auto found = registry.registry_.find(id);
        if (isRegistered || found == registry.registry_.end()) return;
        const auto tell = found->second->refused_;
        registry.registry_.erase(found);
        if (tell) tell();
    });
}

GlobalHotKey::~GlobalHotKey() {
    if (registry_.registry_.erase(id_) > 0) registry_.service_->unregisterHotKey(id_);
}

}  // namespace dovra
