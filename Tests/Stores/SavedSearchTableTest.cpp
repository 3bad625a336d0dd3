#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "Stores/SavedSearchTable.hpp"

namespace dovra {
namespace {

using testing::ElementsAre;
using Item = SavedSearch;

TEST(SavedSearchTable, LeavesOutElementsThatAreWrong) {
    for (const std::string wrong : {"1", "null", "[]", "{}", R"({"name":"x"})", R"({"query":"x"})",
                                    R"({"name":1,"query":"x"})", R"({"name":"x","query":null})",
                                    R"({"name":" ","query":"x"})", R"({"name":"\u0000","query":"x"})"}) {
        const auto decoded = SavedSearchTable::decode("[" + wrong + R"(,{"name":"n","query":"q"}])");
        EXPECT_FALSE(decoded.value().isWhole) << wrong;
        EXPECT_THAT(decoded->table.items(), ElementsAre(Item{"n", "q"})) << wrong;
    }
    const auto twice = SavedSearchTable::decode(
        R"([{"name":"a","query":"1"},{"name":"b","query":"2"},{"name":" a\n","query":"3"}])");
    EXPECT_EQ(twice->table.encode(), R"([{"name":"a","query":"3"},{"name":"b","query":"2"}])");
}

}  // namespace
}  // namespace dovra
