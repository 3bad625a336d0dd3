#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "Base/JsonText.hpp"

namespace dovra {
namespace {

std::string repeated(int times, std::string_view text) {
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

std::string nestedArrays(int levels) {
    return repeated(levels, "[") + repeated(levels, "]");
}

std::string nestedObjects(int levels) {
    return repeated(levels, "{\"a\":") + "0" + repeated(levels, "}");
}

TEST(ParseJson, ReadsValuesAndRefusesTheRest) {
    EXPECT_EQ(parseJson(" [1,{\"a\":null}] "), nlohmann::json::parse("[1,{\"a\":null}]"));
    EXPECT_EQ((*parseJson(R"({"a":1,"a":2})"))["a"], 2);
    for (const std::string text :
         {"", "[", "[1]]", "{1:2}", "nul", "[1,]", "'a'", "[\"\xFF\"]", "\"\\ud800\"", "[1] x", "1e999"})
        EXPECT_EQ(parseJson(text), std::nullopt) << text;
    EXPECT_EQ(parseJson(std::string_view("1\0x", 3)), std::nullopt);
}

TEST(ParseJson, GoesNoDeeperThanItsLimit) {
    EXPECT_TRUE(parseJson(nestedArrays(maxJsonDepth)));
    EXPECT_FALSE(parseJson(nestedArrays(maxJsonDepth + 1)));
    EXPECT_TRUE(parseJson(nestedObjects(maxJsonDepth)));
    EXPECT_FALSE(parseJson(nestedObjects(maxJsonDepth + 1)));
    EXPECT_FALSE(parseJson(repeated(10'000'000, "[")));
}

}  // namespace
}  // namespace dovra
