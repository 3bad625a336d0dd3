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
    std::string fault;
    std::string unknownOption;
};

Parsed parsed(const std::vector<std::string>& arguments) {
    Parsed result;
    const std::vector<Option> table = {
        {{"--flag", "-f"},
         {},
         "",
         [&](const std::string&) {
             result.applied.emplace_back("flag");
             return true;
         }},
        {{"--value", "-v"},
         "text",
         "",
         [&](const std::string& text) {
             if (text != "bad") result.applied.push_back(text);
             return text != "bad";
         }},
    };
    const ParsedArguments rest = parseOptions(arguments, table);
    result.others = rest.others;
    result.fault = rest.fault.value_or("none");
    result.unknownOption = rest.unknownOption.value_or("none");
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

TEST(Options, SayWhatIsWrong) {
    const Parsed sound = parsed({"-f", "a", "--value", "-x", "-v", "--flag", "--", "-y"});
    EXPECT_EQ(sound.fault, "none");
    EXPECT_EQ(sound.unknownOption, "none");
    EXPECT_EQ(parsed({"-f", "-v"}).fault, "\"-v\" needs a text behind it");
    EXPECT_EQ(parsed({"-v", "bad", "-f"}).fault, "\"bad\" is no text for -v");
    EXPECT_EQ(parsed({"a", "-x", "-y"}).unknownOption, "-x");
}

TEST(Options, AskForHelpOnlyAlone) {
    EXPECT_TRUE(asksForHelp(std::vector<std::string>{"--help"}));
    EXPECT_FALSE(asksForHelp(std::vector<std::string>{"--help", "x"}));
    EXPECT_FALSE(asksForHelp(std::vector<std::string>{}));
}

}  // namespace
}  // namespace dovra
