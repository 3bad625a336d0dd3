#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <string_view>

#include "Base/JSONValue.hpp"

namespace dovra {
namespace {

using namespace std::string_literals;

TEST(JSONValue, ReadsEachKindAndWritesItBack) {
    using enum JSONValue::Kind;
    // A text, the kind of its value, and the text that is written for that value.
    const std::tuple<std::string, JSONValue::Kind, std::string> examples[] = {
        {R"( {"b": [1, 2.5], "a": null} )", object, R"({"b":[1,2.5],"a":null})"},
        {R"({"a":1,"b":2,"a":{}})", object, R"({"b":2,"a":{}})"},
        {R"("a\u0001\n\/é\ud83d\ude00")", string, R"("a\u0001\n/é😀")"},
        {"[]", array, "[]"},
        {"false", boolean, "false"},
        {"-0", integer, "0"},
        {"-9223372036854775808", integer, "-9223372036854775808"},
        {"9223372036854775807", integer, "9223372036854775807"},
        {"9223372036854775808", floating, "9.223372036854776e+18"},
        {"123456789012345678901234567890", floating, "1.2345678901234568e+29"},
        {"1e2", floating, "100.0"},
        {"null", null, "null"},
    };
    for (const auto& [text, kind, written] : examples) {
        const auto value = JSONValue::parse(text);
        ASSERT_TRUE(value) << text;
        EXPECT_EQ(value->kind(), kind) << text;
        EXPECT_EQ(value->serializedString(), written);
    }
}

TEST(JSONValue, RefusesWhatIsNoJson) {
    for (const std::string& text : {""s, "{"s, "[1,]"s, "{1:2}"s, "nul"s, "1 2"s, "'a'"s, "\"\xFF\""s,
                                    "\"\\ud800\""s, "1e999"s, "NaN"s, "{}\0{"s, "\0"s, "\"\0\""s})
        EXPECT_FALSE(JSONValue::parse(text)) << text;
    const std::string deep = std::string(maxJSONDepth, '[') + std::string(maxJSONDepth, ']');
    EXPECT_TRUE(JSONValue::parse(deep));
    EXPECT_FALSE(JSONValue::parse("[" + deep + "]"));
    EXPECT_FALSE(JSONValue::parse(R"({"a":)" + deep + "}"));
    EXPECT_FALSE(JSONValue::parse(std::string(1'000'000, '[')));
}

TEST(JSONValue, HasOnlySoManyValues) {
    std::string text = "[1";
    for (std::size_t count = 2; count < maxJSONValues; ++count)
        text += ",1";
    EXPECT_TRUE(JSONValue::parse(text + "]"));
    EXPECT_FALSE(JSONValue::parse(text + ",1]"));
}

TEST(JSONValue, WritesWhatJsonCannotHoldInItsNearestForm) {
    EXPECT_EQ(JSONValue("a\xFF\xC3z").serializedString(), "\"a\xEF\xBF\xBD\xEF\xBF\xBDz\"");
    EXPECT_EQ(JSONValue(std::nan("")).serializedString(), "null");
    EXPECT_EQ(JSONValue(std::numeric_limits<double>::infinity()).serializedString(), "null");
    EXPECT_EQ(JSONValue(std::numeric_limits<std::uint64_t>::max()).kind(), JSONValue::Kind::floating);
}

TEST(JSONValue, ComparesMembersWithoutTheirOrderAndKindsApart) {
    EXPECT_EQ(*JSONValue::parse(R"({"a":1,"b":[2]})"), *JSONValue::parse(R"({"b":[2],"a":1})"));
    EXPECT_NE(*JSONValue::parse(R"({"a":1,"b":2})"), *JSONValue::parse(R"({"a":2,"b":1})"));
    EXPECT_NE(JSONValue(1), JSONValue(1.0));
    EXPECT_NE(JSONValue(1), JSONValue(true));
    EXPECT_EQ((JSONObject{{"a", 1}, {"b", 2}, {"a", 3}}), (JSONObject{{"b", 2}, {"a", 1}}));
}

}  // namespace
}  // namespace dovra
