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

TEST(ExtendedAttributes, ReadsValuesOfAllLengthsFromPathsOfAllLengths) {
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
    const test::DeepFile deep(tree.path(), "deep");
    EXPECT_EQ(readExtendedAttribute(deep.path, name), std::nullopt);
    ASSERT_TRUE(test::setAttribute(fmt::format("/proc/self/fd/{}", deep.descriptor), name, "value"));
    EXPECT_EQ(readExtendedAttribute(deep.path, name), "value");
    for (const std::string& path : {tree.path(), tree.path("absent"), "/" + std::string(9000, 'x')})
        EXPECT_EQ(readExtendedAttribute(path, name), std::nullopt);
}

}  // namespace
}  // namespace dovra
