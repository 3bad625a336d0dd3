#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "Desktop/Model/GlobalHotKey.hpp"

namespace dovra {
namespace {

/// Refuses the key 1, and leaves the answer for the key 2 to the test.
class FakeHotKeyService : public HotKeyService {
public:
    void installHandler(std::function<void(std::uint32_t id)> pressed) override {
        EXPECT_FALSE(std::exchange(press, std::move(pressed)));
    }
    void registerHotKey(std::uint32_t id, std::uint32_t keyCode, std::uint32_t /*modifiers*/,
                        std::function<void(bool isRegistered)> answer) override {
        asked.insert(id);
        keyCode == 2 ? answerLater.swap(answer) : answer(keyCode != 1);
    }
    void unregisterHotKey(std::uint32_t id) override { asked.erase(id); }

    std::function<void(std::uint32_t id)> press;
    std::function<void(bool isRegistered)> answerLater;
    std::set<std::uint32_t> asked;
};

TEST(GlobalHotKey, FiresItsOwnCallbackFromItsRegistrationToItsEnd) {
    auto owned = std::make_unique<FakeHotKeyService>();
    FakeHotKeyService& service = *owned;
    HotKeyRegistry registry(std::move(owned));
    std::string fired;
    const auto make = [&](std::uint32_t keyCode, char mark) {
        return std::make_unique<GlobalHotKey>(
            registry, keyCode, 2048, [&fired, mark] { fired += mark; },
            [&fired, mark] {
                fired += {'-', mark};
            });
    };
    auto first = make(49, 'a');
    const auto refused = make(1, 'b');
    auto late = make(2, 'c');
    EXPECT_EQ(first->id(), 1U);
    service.answerLater(true);
    for (const std::uint32_t id : {3U, 2U, 1U, 99U})
        service.press(id);
    first.reset();
    service.press(1);
    EXPECT_EQ(fired, "-bca");
    EXPECT_FALSE(service.asked.contains(1));
    late.reset();
    service.answerLater(false);
    EXPECT_EQ(fired, "-bca");
    // A callback may end its own hot key.
    std::unique_ptr<GlobalHotKey> last;
    last = std::make_unique<GlobalHotKey>(registry, 7, 0, [&last, &fired, text = std::string(100, 'x')] {
        last.reset();
        fired = text;
    });
    service.press(last->id());
    EXPECT_EQ(fired, std::string(100, 'x'));
}

}  // namespace
}  // namespace dovra
