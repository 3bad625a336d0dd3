#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Diagnostics/IndexSampler.hpp"
#include "Index/FileIndex.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// A query with all that decides its answer.
struct GeneratedSearch {
    std::string query;
    SortSpec sort;
    std::int64_t limit = 0;
};

/// Makes up queries over the whole query language, of pieces of what an index holds, so that most of them
/// match something: parts of names in changed case, seams of paths, real sizes and dates, patterns cut from
/// names, and now and then something malformed. Equal seeds and indexes give equal queries.
class QueryGenerator {
public:
    struct Limits {
        bool mayUsePaths = true;   ///< false where paths are too long to look at them all
        bool mayReadFiles = true;  ///< "content:" and "tag:"
    };

    /// Reads the index at every call; its lock must be free.
    QueryGenerator(const FileIndex& index, std::uint64_t seed, Limits limits);

    GeneratedSearch next();

private:
    std::string expression(int depth);
    std::string disjunction(int depth);
    std::string operand(int depth);
    std::string leaf();
    std::string plainTerm();
    std::string wildcardTerm();
    std::string textKeyTerm();
    std::string pathTerm();
    std::string extensionTerm();
    std::string sizeTerm();
    std::string dateTerm();
    std::string regexTerm();
    std::string regexPattern();
    std::string fuzzyTerm();
    std::string similarTerm();
    std::string otherTerm();
    std::string toggle();
    std::string malformed();

    IndexSampler sampler_;
    std::vector<std::string> terms_;  ///< of the query that is being made up
    const Limits limits_;
};

}  // namespace dovra
