#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Base/Options.hpp"

namespace dovra {
namespace {

using Strings = std::vector<std::string>;

TEST(Options, TakeTheirValuesAndLeaveTheRest) {
    struct Case {
        Strings arguments, applied, others;
        std::string fault = "none", unknownOption = "none";
    };
    const Case cases[] = {
        {{"a", "-v", "1", "--flag", "-v", "-f", "--value", "", "-x", "b"},
         {"1", "flag", "-f", ""},
         {"a", "-x", "b"},
         "none",
         "-x"},
        {{"a", "--FLAG", "--flag=1", "-fv", "-"},
         {},
         {"a", "--FLAG", "--flag=1", "-fv", "-"},
         "none",
         "--FLAG"},
        {{"a", "-f", "--value"}, {"flag"}, {"a"}, "\"--value\" needs a text behind it"},
        {{"-v", "bad", "-f"}, {"flag"}, {}, "\"bad\" is no text for -v"},
        {{"-v", "--", "-f", "--", "-f", "--", "-v"}, {"--", "flag"}, {"-f", "--", "-v"}},
    };
    for (const auto& [arguments, expected, others, fault, unknownOption] : cases) {
        Strings applied;
        const auto take = [&](const std::string& text) {
            if (text != "bad") applied.push_back(text);
            return text != "bad";
        };
        const std::vector<Option> table = {
            {{"--flag", "-f"}, {}, "", [&](const auto&) { return take("flag"); }},
            {{"--value", "-v"}, "text", "", take}};
        const ParsedArguments parsed = parseOptions(arguments, table);
        EXPECT_EQ(parsed.others, others);
        EXPECT_EQ(parsed.fault.value_or("none"), fault);
        EXPECT_EQ(parsed.unknownOption.value_or("none"), unknownOption);
        EXPECT_EQ(applied, expected);
    }
    EXPECT_TRUE(asksForHelp(Strings{"--help"}));
    EXPECT_FALSE(asksForHelp(Strings{"--help", "x"}));
}

}  // namespace
}  // namespace dovra
