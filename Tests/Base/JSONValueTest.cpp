#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <string_view>

#include "Base/JSONValue.hpp"

namespace dovra {
namespace {

using namespace std::string_literals;

/// The kind of what is read and what is written of it again.
struct Example {
    std::string text;
    JSONValue::Kind kind;
    std::string written;
};

TEST(JSONValue, ReadsEachKindAndWritesItBack) {
    using enum JSONValue::Kind;
    const Example examples[] = {
        {R"( {"b": [1, 2.5], "a": null} )", object, R"({"b":[1,2.5],"a":null})"},
        {R"({"a":1,"b":2,"a":{}})", object, R"({"b":2,"a":{}})"},
        {"[]", array, "[]"},
        {R"("a\u0001\n\/é\ud83d\ude00")", string, R"("a\u0001\n/é😀")"},
        {"true", boolean, "true"},
        {"false", boolean, "false"},
        {"1", integer, "1"},
        {"-0", integer, "0"},
        {"-9223372036854775808", integer, "-9223372036854775808"},
        {"9223372036854775807", integer, "9223372036854775807"},
        {"9223372036854775808", floating, "9.223372036854776e+18"},
        {"123456789012345678901234567890", floating, "1.2345678901234568e+29"},
        {"1.0", floating, "1.0"},
        {"1e2", floating, "100.0"},
        {"null", null, "null"},
    };
    for (const Example& example : examples) {
        const auto value = JSONValue::parse(example.text);
        ASSERT_TRUE(value) << example.text;
        EXPECT_EQ(value->kind(), example.kind) << example.text;
        EXPECT_EQ(value->serializedString(), example.written);
    }
}

TEST(JSONValue, RefusesWhatIsNoJson) {
    for (const std::string& text : {""s, "{"s, "[1,]"s, "{1:2}"s, "nul"s, "1 2"s, "'a'"s, "\"\xFF\""s,
                                    "\"\\ud800\""s, "1e999"s, "NaN"s, "{}\0{"s, "\0"s, "\"\0\""s})
        EXPECT_EQ(JSONValue::parse(text), std::nullopt) << text;
    std::string deep(maxJSONDepth, '[');
    deep.append(maxJSONDepth, ']');
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
    EXPECT_FALSE(JSONValue::parse(text + ",{}]"));
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

std::string randomText(std::mt19937& random) {
    std::string text;
    for (auto left = random() % 5; left > 0; --left)
        text += static_cast<char>(random() % 128);
    return text;
}

JSONValue randomValue(std::mt19937& random, int depth) {
    switch (random() % (depth == 0 ? 5 : 7)) {
        case 0:
            return randomText(random);
        case 1:
            return static_cast<std::int64_t>(random()) << (random() % 33);
        case 2:
            return static_cast<double>(random()) / 3;
        case 3:
            return random() % 2 == 0;
        case 4:
            return nullptr;
        case 5: {
            JSONValue::Array array;
            for (auto left = random() % 4; left > 0; --left)
                array.push_back(randomValue(random, depth - 1));
            return array;
        }
        default: {
            std::vector<JSONObject::Member> members;
            for (auto left = random() % 4; left > 0; --left)
                members.push_back({randomText(random), randomValue(random, depth - 1)});
            return JSONObject(members);
        }
    }
}

TEST(JSONValue, SurvivesWritingAndReading) {
    std::mt19937 random(7);
    for (int i = 0; i < 2000; ++i) {
        const JSONValue value = randomValue(random, 4);
        const std::string text = value.serializedString();
        EXPECT_EQ(text.find_first_of("\n\r"), std::string::npos);
        EXPECT_EQ(JSONValue::parse(text), value) << text;
    }
}

}  // namespace
}  // namespace dovra
