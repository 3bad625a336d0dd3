#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Diagnostics/QueryGenerator.hpp"
#include "Index/FileIndex.hpp"

namespace dovra {

/// Compares the search engine with the slow search on one index: serially and in parallel, each with and
/// without the trigram index. Nothing else may search or change the index meanwhile.
class SearchCheck {
public:
    /// `trigram` holds every name of the index; it is attached and detached in turn, and left attached.
    SearchCheck(FileIndex& index, std::shared_ptr<TrigramIndex> trigram);

    /// The differences between the answers of the engine and of the slow search: a sentence for each, with
    /// the ways of searching that show it. Empty when all agree.
    std::vector<std::string> differences(const GeneratedSearch& generated);

    /// The number of searches so far that had a match.
    std::size_t matchedSearches() const { return matched_; }

private:
    FileIndex& index_;
    std::shared_ptr<TrigramIndex> trigram_;
    std::size_t matched_ = 0;
};

/// The command line that repeats a search below `root`, for a shell that reads $'…'.
std::string repeatingCommand(const std::string& root, const GeneratedSearch& generated);

}  // namespace dovra
