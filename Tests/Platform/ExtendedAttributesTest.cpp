#include <filesystem>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "Platform/ExtendedAttributes.hpp"
#include "Support/DeepFile.hpp"
#include "Support/ExtendedAttribute.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

constexpr const char* name = "user.dovra.test";

TEST(ExtendedAttributes, ReadsValuesOfAllLengthsThroughLinks) {
    const test::TemporaryTree tree;
    const std::string file = tree.write("a");
    std::filesystem::create_symlink("a", tree.path("link"));
    for (const std::size_t length : {0, 1, 1023, 1024, 1025, 3000, 60000}) {
        const std::string value(length, 'v');
        if (!test::setAttribute(file, name, value)) {
            if (length <= 1025) GTEST_SKIP() << "no extended attributes here";
            continue;
        }
        EXPECT_EQ(readExtendedAttribute(file, name), value);
        EXPECT_EQ(readExtendedAttribute(tree.path("link"), name), value);
    }
}

TEST(ExtendedAttributes, AreAbsentWhereThereAreNone) {
    const test::TemporaryTree tree;
    EXPECT_EQ(readExtendedAttribute(tree.write("a"), name), std::nullopt);
    EXPECT_EQ(readExtendedAttribute(tree.path("absent"), name), std::nullopt);
    EXPECT_EQ(readExtendedAttribute("/" + std::string(9000, 'x'), name), std::nullopt);
}

TEST(ExtendedAttributes, AreReadFromPathsLongerThanTheSystemTakes) {
    const test::TemporaryTree tree;
    const test::DeepFile deep(tree.path(), "deep");
    if (!test::setAttribute(fmt::format("/proc/self/fd/{}", deep.descriptor), name, "value"))
        GTEST_SKIP() << "no extended attributes here";
    EXPECT_EQ(readExtendedAttribute(deep.path, name), "value");
}

}  // namespace
}  // namespace dovra
