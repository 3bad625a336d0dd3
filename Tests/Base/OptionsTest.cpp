#include <gmock/gmock.h>
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
    };
    const Case cases[] = {
        {{"a", "-v", "1", "--flag", "-v", "-f", "--value", "", "-x", "b"},
         {"1", "flag", "-f", ""},
         {"a", "-x", "b"}},
        {{"--FLAG", "--flag=1", "--val", "-fv", "-"}, {}, {"--FLAG", "--flag=1", "--val", "-fv", "-"}},
        {{"a", "-f", "--value"}, {"flag"}, {"a"}},
        {{"-v", "--", "-f", "--", "-f", "--", "-v"}, {"--", "flag"}, {"-f", "--", "-v"}},
    };
    for (const auto& [arguments, expected, others] : cases) {
        Strings applied;
        const std::vector<Option> table = {
            {{"--flag", "-f"}, {}, "", [&](const std::string&) { applied.emplace_back("flag"); }},
            {{"--value", "-v"}, "text", "", [&](const std::string& text) { applied.push_back(text); }}};
        EXPECT_EQ(parseOptions(arguments, table), others);
        EXPECT_EQ(applied, expected);
    }
}

TEST(Options, KnowWhatIsWrongWithArguments) {
    const std::vector<Option> table = {{{"--flag", "-f"}, {}, "", {}}, {{"--value", "-v"}, "text", "", {}}};
    const auto fault = [&](const Strings& arguments) { return misuse(arguments, table).value_or("none"); };
    EXPECT_EQ(fault({"-f", "--value", "-x", "-v", "--flag"}), "none");
    EXPECT_EQ(fault({"-v", "1", "2"}), "there is no option \"2\"");
    EXPECT_EQ(fault({"-f", "-v"}), "-v needs a text behind it");
    EXPECT_TRUE(asksForHelp(Strings{"--help"}));
    EXPECT_FALSE(asksForHelp(Strings{"--help", "x"}));
}

}  // namespace
}  // namespace dovra
