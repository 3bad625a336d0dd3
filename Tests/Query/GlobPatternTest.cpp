#include <gtest/gtest.h>
#include <string>

#include "Query/GlobPattern.hpp"

namespace dovra {
namespace {

TEST(GlobPattern, TakesTimeInProportion) {
    std::string pattern = "*b?";
    for (int i = 0; i < 30; ++i)
        pattern.insert(0, "*a");
    EXPECT_FALSE(GlobPattern::compile(pattern, false).matches(std::string(65535, 'a')));
}

}  // namespace
}  // namespace dovra
