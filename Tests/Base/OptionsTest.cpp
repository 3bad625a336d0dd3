#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Base/Options.hpp"

namespace dovra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Parsed {
    std::vector<std::string> applied;
    std::vector<std::string> others;
};

Parsed parsed(const std::vector<std::string>& arguments) {
    Parsed result;
    const std::vector<Option> table = {
        {{"--flag", "-f"}, {}, "", [&](const std::string&) { result.applied.emplace_back("flag"); }},
        {{"--value", "-v"}, "text", "", [&](const std::string& text) { result.applied.push_back(text); }},
    };
    result.others = parseOptions(arguments, table);
    return result;
}

TEST(Options, TakeTheirValuesAndLeaveTheRest) {
    const Parsed result = parsed({"a", "-v", "1", "--flag", "-v", "-f", "--value", "", "-x", "b"});
    EXPECT_THAT(result.applied, ElementsAre("1", "flag", "-f", ""));
    EXPECT_THAT(result.others, ElementsAre("a", "-x", "b"));
}

TEST(Options, AreMatchedExactly) {
    const Parsed result = parsed({"--FLAG", "--flag=1", "--val", "-fv", "-"});
    EXPECT_THAT(result.applied, IsEmpty());
    EXPECT_EQ(result.others.size(), 5U);
}

TEST(Options, EndAtTheLastOptionWithoutItsValue) {
    const Parsed result = parsed({"a", "-f", "--value"});
    EXPECT_THAT(result.applied, ElementsAre("flag"));
    EXPECT_THAT(result.others, ElementsAre("a"));
}

TEST(Options, EndBehindTwoDashes) {
    const Parsed result = parsed({"-v", "--", "-f", "--", "-f", "--", "-v"});
    EXPECT_THAT(result.applied, ElementsAre("--", "flag"));
    EXPECT_THAT(result.others, ElementsAre("-f", "--", "-v"));
}

TEST(Options, KnowWhatIsWrongWithArguments) {
    const std::vector<Option> table = {{{"--flag", "-f"}, {}, "", {}}, {{"--value", "-v"}, "text", "", {}}};
    const auto fault = [&](std::vector<std::string> arguments) {
        return misuse(arguments, table).value_or("none");
    };
    EXPECT_EQ(fault({"-f", "--value", "-x", "-v", "--flag"}), "none");
    EXPECT_EQ(fault({"-f", "-x"}), "there is no option \"-x\"");
    EXPECT_EQ(fault({"-v", "1", "2"}), "there is no option \"2\"");
    EXPECT_EQ(fault({"-f", "-v"}), "-v needs a text behind it");
}

TEST(Options, AskForHelpOnlyAlone) {
    EXPECT_TRUE(asksForHelp(std::vector<std::string>{"--help"}));
    EXPECT_FALSE(asksForHelp(std::vector<std::string>{"--help", "x"}));
    EXPECT_FALSE(asksForHelp(std::vector<std::string>{}));
}

}  // namespace
}  // namespace dovra
