#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

TEST(ExtensionList, KeepsLongExtensionsApart) {
    const ExtensionList list({"numbersx", "numbers12"});
    for (const char* name : {"a.NumbersX", "a.Numbers12"})
        EXPECT_TRUE(list.matches(name)) << name;
    for (const char* name : {"a.numbers1", "a.xnumbersx", "a.numbers123", "a.xumbers12"})
        EXPECT_FALSE(list.matches(name)) << name;
}

}  // namespace
}  // namespace dovra
