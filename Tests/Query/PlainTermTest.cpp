#include <gtest/gtest.h>
#include <string>

#include "Query/QueryParser.hpp"

namespace dovra {
namespace {

TEST(PlainTermTest, IsTheFirstTextOnNamesThatIsNotNegated) {
    struct Case {
        std::string query;
        std::string plainTerm;  ///< empty: none
    };
    const Case cases[] = {
        {"size:>1k report b", "report"},
        {"a/b path:c name:d", "d"},
        {"path: a", ""},
        {"!a", ""},
        {"!a b", "b"},
        {"!!a b", "a"},
        {"!<a b> c", "c"},
        {"!<x !a> c", "a"},
        {"!<!<a> b> c", "a"},
        {"!<!<!a> b> c", "c"},
        {"!<<x>> <b>", "b"},
        {"!<<x y>|z", ""},
    };
    for (const auto& [query, plainTerm] : cases) {
        const auto found = QueryParser::parse(query).plainTerm;
        EXPECT_EQ(found ? found->text : "", plainTerm) << query;
    }
}

}  // namespace
}  // namespace dovra
