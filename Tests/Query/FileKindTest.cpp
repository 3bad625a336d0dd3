#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>

#include "Diagnostics/SlowMatch.hpp"
#include "Query/FileKind.hpp"

namespace dovra {
namespace {

TEST(Macros, AreFoundByEveryWordAndNoOther) {
    EXPECT_THAT(*Macros::extensions("exe"), testing::Contains("dmg"));
    EXPECT_THAT(*Macros::extensions("zip"), testing::Contains("dmg"));
    for (const FileKind& kind : Macros::kinds()) {
        for (const std::string_view word : kind.words)
            EXPECT_EQ(Macros::extensions(word)->data(), kind.extensions.data()) << word;
        const ExtensionList list(kind.extensions);
        for (const std::string_view extension : kind.extensions)
            EXPECT_TRUE(list.matches("name." + std::string(extension))) << extension;
    }
    for (const char* word : {"", "Image", "imag", "documentss"})
        EXPECT_FALSE(Macros::extensions(word)) << word;
}

TEST(ExtensionList, MatchesWhatASlowComparisonMatches) {
    const std::vector<std::string> list = {"a", "jpg", "tar.gz", "numbersx", "numbers12", "\xC3\xA9"};
    std::mt19937 random(3);
    const std::string pieces[] = {"a",        "A",         ".",        "..",       "jPG", "pg",
                                  "numbersX", "Numbers12", "\xC3\xA9", "\xC3\x89", "x"};
    for (int round = 0; round < 20000; ++round) {
        std::string name;
        for (std::size_t count = random() % 5; count > 0; --count)
            name += pieces[random() % std::size(pieces)];
        const auto extension = slow::extension(name);
        const bool isListed = extension && std::ranges::count(list, slow::folded(*extension)) > 0;
        ASSERT_EQ(ExtensionList(list).matches(name), isListed) << name;
    }
}

}  // namespace
}  // namespace dovra
