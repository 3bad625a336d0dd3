#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "Desktop/Model/LaunchOptions.hpp"

namespace dovra {
namespace {

using Words = std::vector<std::string>;

TEST(LaunchOptions, TakesAQueryWhateverItLooksLikeAndForgivesItsLack) {
    LaunchOptions options;
    EXPECT_EQ(readLaunchOptions(Words{"--query", "--toggle", "--in", "/usr/..", "--query"}, options),
              std::nullopt);
    EXPECT_EQ(options.request.query.value() + options.index.root, "--toggle/");
    EXPECT_FALSE(options.request.toggles);
    for (const Words& wrong :
         {Words{"--serach"}, {"word"}, {"--in"}, {"--in", ""}, {"--background", "--toggle"}})
        EXPECT_TRUE(readLaunchOptions(wrong, options).has_value()) << wrong.front();
}

TEST(SnapshotOptions, RefusesWhatCannotBeDrawn) {
    SnapshotOptions options;
    const auto accepts = [&](Words words, std::string_view appearance = "") {
        return !readSnapshotOptions(words, appearance, options);
    };
    EXPECT_TRUE(accepts({"out.png", "--size", "8192x1", "--scale", "1.5", "--query", "a b"}, "dark"));
    EXPECT_EQ(options.outputPath + options.query, "out.pnga b");
    EXPECT_EQ(options.size, (PanelSize{8192, 1}));
    EXPECT_EQ(options.scale, 1.5);
    EXPECT_EQ(options.appearance, Appearance::dark);
    for (const char* size : {"", "x", "5", "0x5", "5x8193", "5x5x", " 5x5", "-5x5", "99999999999x1"})
        EXPECT_FALSE(accepts({"o", "--size", size})) << size;
    for (const char* scale : {"", "0.49", "4.01", "nan", "1x"})
        EXPECT_FALSE(accepts({"o", "--scale", scale})) << scale;
    for (const Words& wrong : {Words{}, {"a", "b"}, {"a", "--what"}, {"a", "--query"}})
        EXPECT_FALSE(accepts(wrong));
    EXPECT_FALSE(accepts({"o"}, "Dark"));
}

}  // namespace
}  // namespace dovra
