#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "Platform/PowerSupply.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

TEST(PowerSupply, IsABatteryOfTheMachineThatNothingFeeds) {
    using Supply = std::map<std::string, std::string>;
    const Supply battery{{"type", "Battery"}, {"status", "Discharging"}};
    const Supply fullBattery{{"type", "Battery"}, {"status", "Full"}, {"scope", "System"}};
    const Supply mouse{{"type", "Battery"}, {"status", "Discharging"}, {"scope", "Device"}};
    const Supply mains{{"type", "Mains"}, {"online", "1"}};
    const Supply unplugged{{"type", "Mains"}, {"online", "0"}};
    const Supply fastUSB{{"type", "USB"}, {"online", "2"}};
    const Supply mousesDock{{"type", "USB"}, {"online", "1"}, {"scope", "Device"}};
    struct Case {
        std::string what;
        std::vector<Supply> supplies;
        bool isOnBattery;
    };
    for (const Case& c : std::vector<Case>{{"no supply", {}, false},
                                           {"a battery alone", {battery}, true},
                                           {"unplugged", {unplugged, battery}, true},
                                           {"one of two batteries", {fullBattery, battery}, true},
                                           {"plugged in", {battery, mains}, false},
                                           {"by USB", {unplugged, battery, fastUSB}, false},
                                           {"full", {fullBattery, unplugged}, false},
                                           {"a desktop with a mouse", {mouse}, false},
                                           {"a mouse that charges", {battery, mousesDock}, true}}) {
        const test::TemporaryTree tree;
        for (std::size_t i = 0; i < c.supplies.size(); ++i) {
            for (const auto& [name, value] : c.supplies[i])
                tree.write("supply" + std::to_string(i) + "/" + name, value + "\n");
        }
        EXPECT_EQ(isOnBattery(tree.path()), c.isOnBattery) << c.what;
    }
    EXPECT_FALSE(isOnBattery("/nowhere"));
}

}  // namespace
}  // namespace dovra
