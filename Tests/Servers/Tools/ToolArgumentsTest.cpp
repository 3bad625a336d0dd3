#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Servers/Tools/ToolArguments.hpp"

namespace dovra {
namespace {

JSONObject objectOf(const std::string& value) {
    return *JSONValue::parse(R"({"key":)" + value + "}")->object();
}

TEST(ToolArguments, TakeTextsFromStringsOnly) {
    const auto text = [](const JSONObject& object) { return ToolArguments(object).text("key"); };
    EXPECT_EQ(text(objectOf(R"(" \n\ta b\u00a0 ")")), "a b");
    for (const char* value : {R"("")", R"(" \n")", "1", "true", "null", R"(["a"])", "{}"})
        EXPECT_EQ(text(objectOf(value)), std::nullopt) << value;
    EXPECT_EQ(text({}), std::nullopt);
}

TEST(ToolArguments, TakeFlagsFromBooleansOnly) {
    EXPECT_TRUE(ToolArguments(objectOf("true")).flag("key"));
    for (const char* value : {"false", "1", R"("true")", "null"})
        EXPECT_FALSE(ToolArguments(objectOf(value)).flag("key")) << value;
}

TEST(ToolArguments, TakeNumbersIntoTheirRange) {
    using Values = std::vector<const char*>;
    const std::pair<std::int64_t, Values> examples[] = {
        {1, {"0", "1", "-2.9"}},
        {2, {"2.9"}},
        {1000, {"1000", "5000", "1e3", "9223372036854775807"}},
        {50, {"\"7\"", "null", "1e300", "-1e300", "9223372036854775808", "[3]"}},
    };
    for (const auto& [expected, values] : examples) {
        for (const char* value : values)
            EXPECT_EQ(ToolArguments(objectOf(value)).number("key", {50, 1, 1000}), expected) << value;
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
