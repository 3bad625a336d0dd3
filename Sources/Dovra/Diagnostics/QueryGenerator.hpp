#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Index/FileIndex.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// The source of all random choices: draws names, paths and pieces of them from an index, and numbers. Equal
/// seeds and indexes give equal draws. Reads the index at every call; its lock must be free.
class IndexSampler {
public:
    IndexSampler(const FileIndex& index, std::uint64_t seed);

    std::size_t below(std::size_t bound) { return static_cast<std::size_t>(random_() % bound); }
    bool chance(unsigned percent) { return random_() % 100 < percent; }
    std::string_view oneOf(std::initializer_list<std::string_view> words) {
        return *(words.begin() + below(words.size()));
    }

    /// The name of a random entry. Names with non-ASCII bytes are preferred. An invented name when there is
    /// no entry.
    std::string name();
    std::string path();
    FileEntry entry();

    /// One byte or a few of a name, sometimes with the case changed.
    std::string piece();

    /// One byte to `longest` of a text that is not empty; half of the time at its start or end, where faults
    /// are likely.
    std::string pieceOf(const std::string& text, std::size_t longest);

    /// A part of a path around one of its slashes, often around the last one.
    std::string seam();

    /// The text, half of the time with the case of every other letter changed.
    std::string changedCase(std::string text);

private:
    EntryId anyEntry();

    const FileIndex& index_;
    std::mt19937_64 random_;
    std::size_t entryCount_ = 0;
    std::vector<EntryId> nonAscii_;  ///< some of the entries with such names
};

/// A query with all the parameters of its answer.
struct GeneratedSearch {
    std::string query;
    SortSpec sort;
    std::int64_t limit = 0;
};

/// Makes up queries over the whole query language. They are made from pieces of the index, so most of them
/// match something: parts of names in changed case, seams of paths, real sizes and dates, patterns cut from
/// names, and some malformed terms. Equal seeds and indexes give equal queries.
class QueryGenerator {
public:
    struct Limits {
        bool mayUsePaths = true;   ///< false where paths are too long to test them all
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
    std::vector<std::string> terms_;  ///< the terms of the query being made
    const Limits limits_;
};

}  // namespace dovra
