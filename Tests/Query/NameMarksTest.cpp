#include <gtest/gtest.h>
#include <string>

#include "Query/NameMarks.hpp"
#include "Query/QueryParser.hpp"

namespace dovra {
namespace {

std::string marked(const std::string& query, const std::string& name) {
    std::string text;
    std::size_t at = 0;
    for (const TextRange& range : nameMarks(QueryParser::positiveTerms(query), name)) {
        text +=
            name.substr(at, range.begin - at) + "[" + name.substr(range.begin, range.end - range.begin) + "]";
        at = range.end;
    }
    return text + name.substr(at);
}

TEST(NameMarks, ShowWhereTheTermsStand) {
    struct Case {
        const char* query;
        const char* marked;  ///< the name, with brackets around its marks
    };
    for (const auto& [query, expected] : std::initializer_list<Case>{
             {"re", "My [Re]po[rE].txt"},
             {"case:Re", "My [Re]porE.txt"},
             {"aa", "[aaaa]a"},
             {"ab|bc cd", "x[abcd]"},
             {"a !b", "b[a]b"},
             {"!<a !b>", "a[b]"},
             {"!!a", "[a]b"},
             {"*.pdf", "a.pdf[.pdf]"},
             {"a*", "[a]aa"},
             {"*b*", "a[b]a[b]"},
             {"a*b", "aab"},
             {"name:a.t stem:x", "[x]b[a.t]xx"},
             {"stem:t", "[t]a.t"},
             {"ww:log", "logs-[log].txt"},
             {"regex:[0-9]+", "v[12].34"},
             {"regex:(?=a)\\K", "ba"},
             {"fuzzy:mr", "[m]y[r]eport"},
             {"\xC3\xA9", "caf[e\xCC\x81]-[\xC3\x89]"},
             {"fuzzy:\xA9", "x[\xC3\xA9]"},
             {"\xC3\x9F", "stra[SS]e"},
             {"a", "\xFF[a]\xFF"},
             {"/a path:b ext:txt size:0 content:c tag:d", "abcd.txt"},
         }) {
        std::string name = expected;
        std::erase_if(name, [](char c) { return c == '[' || c == ']'; });
        EXPECT_EQ(marked(query, name), expected) << query;
    }
}

}  // namespace
}  // namespace dovra
