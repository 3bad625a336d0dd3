#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <string>

#include "Servers/Tools/FileGrep.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using Lines = std::vector<MatchingLine>;

class FileGrep : public testing::Test {
protected:
    std::optional<Lines> grep(std::string_view bytes, std::string_view needle, std::size_t mostLines = 100) {
        return grepFile(tree_.write("file", bytes), TextNeedle(needle, false), mostLines);
    }

    test::TemporaryTree tree_;
};

TEST_F(FileGrep, NumbersAndCleansLines) {
    EXPECT_EQ(grep("one\n\nTwo ONE\t \r\nthree\n  one", "one", 2), (Lines{{1, "one"}, {3, "Two ONE"}}));
    EXPECT_EQ(grep("a\nb", "a\nb"), Lines());
    EXPECT_EQ(grep("x\xFFone\n\xC3\x89T\xC3\x89", "\xC3\xA9t"), (Lines{{2, "ÉTÉ"}}));
    EXPECT_EQ(grep("x\xFFone", "one"), (Lines{{1, "x\xEF\xBF\xBDone"}}));
    std::filesystem::create_symlink("file", tree_.path("link"));
    EXPECT_EQ(grepFile(tree_.path("link"), TextNeedle("x", false), 5)->size(), 1U);
}

TEST_F(FileGrep, ReadsTextUpToItsLimit) {
    EXPECT_EQ(grep("one" + std::string(8188, ' ') + '\0', "one"), Lines()) << "binary";
    EXPECT_EQ(grep("one" + std::string(8189, ' ') + '\0', "one")->size(), 1U);
    const std::string bytes(mostGrepBytes - 3, '\n');
    EXPECT_EQ(grep(bytes + "one", "one")->size(), 1U);
    EXPECT_EQ(grep(bytes + "\none", "one"), Lines());
}

TEST(CleanLine, CutsLongLinesBetweenCharacters) {
    EXPECT_EQ(cleanLine(std::string(240, 'x') + " \t\r"), std::string(240, 'x'));
    EXPECT_EQ(cleanLine(std::string(300, 'x')), std::string(240, 'x') + "…");
    std::string accents;
    for (int i = 0; i < 241; ++i)
        accents += "\xF0\x9F\x98\x80";
    EXPECT_EQ(cleanLine(accents), accents.substr(0, 960) + "…");
    EXPECT_EQ(cleanLine(std::string(1'000'000, '\xFF')).size(), 240U * 3 + 3);
    EXPECT_EQ(cleanLine(" \r\t"), "");
}

/// The slow reference: each line on its own.
Lines slowGrep(const std::string& text, const std::string& needle) {
    Lines lines;
    std::int64_t number = 0;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        std::string line = text.substr(start, end - start);
        ++number;
        std::ranges::transform(line, line.begin(), [](unsigned char c) { return std::tolower(c); });
        if (line.find(needle) != std::string::npos)
            lines.push_back({number, cleanLine(text.substr(start, end - start))});
        start = end + 1;
    }
    return lines;
}

TEST_F(FileGrep, FindsWhatLookingAtEveryLineFinds) {
    std::mt19937 random(11);
    for (int round = 0; round < 20; ++round) {
        std::string text(random() % 300'000, ' ');
        const std::string_view letters = round % 2 == 0 ? "abAB\n" : "abcdefghijklmnopqrstuvwxyzB\r\n";
        for (char& c : text)
            c = letters[random() % letters.size()];
        EXPECT_EQ(grep(text, "bab", text.size()), slowGrep(text, "bab"));
    }
}

}  // namespace
}  // namespace dovra
