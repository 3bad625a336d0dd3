#include <gtest/gtest.h>
#include <string>

#include "Servers/ToolArguments.hpp"

namespace dovra {
namespace {

JSONObject objectOf(const std::string& value) {
    return *JSONValue::parse(R"({"key":)" + value + "}")->object();
}

TEST(ToolArguments, TakeTextsFromStringsOnly) {
    const auto text = [](const std::string& value) {
        const JSONObject object = objectOf(value);
        return ToolArguments(object).text("key");
    };
    EXPECT_EQ(text(R"(" \n\ta b\u00a0 ")"), "a b");
    for (const char* value : {R"("")", R"(" \n")", "1", "true", "null", R"(["a"])", "{}"})
        EXPECT_EQ(text(value), std::nullopt) << value;
    EXPECT_EQ(ToolArguments(JSONObject()).text("key"), std::nullopt);
}

TEST(ToolArguments, TakeFlagsFromBooleansOnly) {
    EXPECT_TRUE(ToolArguments(objectOf("true")).flag("key"));
    for (const char* value : {"false", "1", R"("true")", "null"})
        EXPECT_FALSE(ToolArguments(objectOf(value)).flag("key")) << value;
}

TEST(ToolArguments, TakeNumbersIntoTheirRange) {
    const std::pair<const char*, std::int64_t> examples[] = {{"0", 1},
                                                             {"1", 1},
                                                             {"1000", 1000},
                                                             {"5000", 1000},
                                                             {"2.9", 2},
                                                             {"1e3", 1000},
                                                             {"\"7\"", 50},
                                                             {"null", 50},
                                                             {"1e300", 50},
                                                             {"-1e300", 50},
                                                             {"-2.9", 1},
                                                             {"9223372036854775807", 1000},
                                                             {"9223372036854775808", 50},
                                                             {"[3]", 50}};
    for (const auto& [value, expected] : examples) {
        const JSONObject object = objectOf(value);
        EXPECT_EQ(ToolArguments(object).number("key", {.usual = 50, .least = 1, .most = 1000}), expected)
            << value;
    }
}

TEST(ToolArguments, NormalizeExtensionLists) {
    EXPECT_EQ(normalizeExtensions(".SWIFT ; ts,,"), "swift;ts");
    EXPECT_EQ(normalizeExtensions("..gz;tar.GZ,É"), ".gz;tar.gz;é");
    EXPECT_EQ(normalizeExtensions(" ; , .;"), "");
}

TEST(ToolArguments, ExpandOnlyWhatBeginsAsAPath) {
    EXPECT_EQ(expandedPath("/a/./b/../c/"), "/a/c");
    EXPECT_TRUE(expandedPath("~/x").ends_with("/x") && expandedPath("~/x").starts_with("/"));
    for (const char* text : {"src/../x/", "~$draft", ".", "a"})
        EXPECT_EQ(expandedPath(text), text);
}

}  // namespace
}  // namespace dovra
