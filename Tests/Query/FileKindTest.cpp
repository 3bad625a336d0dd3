#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>

#include "Base/AsciiFold.hpp"
#include "Query/FileKind.hpp"

namespace dovra {
namespace {

TEST(Macros, AreFoundByEveryWordAndNoOther) {
    EXPECT_THAT(*Macros::extensions("pics"), testing::Contains("heic"));
    EXPECT_THAT(*Macros::extensions("exe"), testing::Contains("dmg"));
    EXPECT_THAT(*Macros::extensions("zip"), testing::Contains("dmg"));
    std::vector<std::size_t> sizes;
    for (const FileKind& kind : Macros::kinds()) {
        sizes.push_back(kind.extensions.size());
        for (const std::string_view word : kind.words)
            EXPECT_EQ(Macros::extensions(word)->data(), kind.extensions.data()) << word;
    }
    EXPECT_THAT(sizes, testing::ElementsAre(15, 14, 18, 18, 13, 12));
    for (const char* word : {"", "Image", "imag", "documentss"})
        EXPECT_FALSE(Macros::extensions(word)) << word;
}

bool slowlyMatches(const std::vector<std::string>& list, const std::string& name) {
    const std::size_t dot = name.rfind('.');
    return dot != std::string::npos &&
           std::ranges::find(list, asciiFolded(name.substr(dot + 1))) != list.end();
}

TEST(ExtensionList, MatchesWhatASlowComparisonMatches) {
    const std::vector<std::string> list = {"a", "jpg", "tar.gz", "numbersx", "numbers12", "\xC3\xA9"};
    const ExtensionList extensions(list);
    std::mt19937 random(3);
    const std::string pieces[] = {"a",        "A",         ".",        "..",       "jPG", "pg",
                                  "numbersX", "Numbers12", "\xC3\xA9", "\xC3\x89", "x"};
    for (int round = 0; round < 20000; ++round) {
        std::string name;
        for (std::size_t count = random() % 5; count > 0; --count)
            name += pieces[random() % std::size(pieces)];
        ASSERT_EQ(extensions.matches(name), slowlyMatches(list, name)) << name;
    }
    EXPECT_TRUE(extensions.matches(".JPG"));
    EXPECT_FALSE(extensions.matches("jpg"));
    EXPECT_FALSE(ExtensionList(std::vector<std::string>{}).matches("a."));
}

TEST(ExtensionList, FindsAllOfEveryKind) {
    for (const FileKind& kind : Macros::kinds()) {
        const ExtensionList extensions(kind.extensions);
        for (const std::string_view extension : kind.extensions)
            EXPECT_TRUE(extensions.matches("name." + std::string(extension))) << extension;
    }
}

}  // namespace
}  // namespace dovra
