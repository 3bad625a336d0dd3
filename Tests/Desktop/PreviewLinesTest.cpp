#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "Desktop/Model/PreviewLines.hpp"

namespace dovra {
namespace {

TEST(PreviewLines, AreOfBoundedLengthAndNumber) {
    EXPECT_EQ(previewLines("").text, "");
    EXPECT_EQ(previewLines("a\r\nb\rc\u2029d\u2028\n").text, "a\nb\nc\nd\n\n");
    std::string line;
    for (std::size_t i = 0; i < PreviewLines::longest; ++i)
        line += "\U0001F600";
    EXPECT_EQ(previewLines(line).text, line);
    EXPECT_EQ(previewLines(line + "\nx").text, line + "\nx") << "a full line is not broken twice";
    EXPECT_EQ(previewLines(line + line).text, line + "\n" + line);
    const std::string all(PreviewLines::most - 1, '\n');
    for (const auto& [rest, isCut] :
         {std::pair("", false), {"last", false}, {"last\n", false}, {"last\nx", true}}) {
        const PreviewLines lines = previewLines(all + rest);
        EXPECT_EQ(lines.isCut, isCut) << rest;
        EXPECT_EQ(lines.text.substr(all.size(), 4), std::string(rest).substr(0, 4));
    }
}

}  // namespace
}  // namespace dovra
