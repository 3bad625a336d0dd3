#pragma once

#include <optional>
#include <string_view>

#include "Base/Options.hpp"
#include "Query/SearchResult.hpp"

namespace dovra {

/// The command-line modes. Each takes the arguments behind its mode word and returns the exit status. The
/// status is 1 also for a relative folder when the current folder was deleted.
struct CLI {
    /// "--search": scans a folder tree, answers one query and prints one full path a line, then the number of
    /// matches on standard error. 0, or 1 when standard output could not be written. An unknown option is a
    /// word of the query, and an option with an invalid value changes nothing: there is no wrong usage.
    static int runSearch(Arguments args);

    /// "--duplicates": scans a folder tree and prints the sets of files with equal contents, then the number
    /// and waste of all sets on standard error. A terminal there shows the progress of reading. 0; 1 when
    /// standard output could not be written; 2 for wrong usage.
    static int runDuplicates(Arguments args);

    /// "--du": scans a folder tree and prints the folders that hold the most bytes. 0; 1 when standard output
    /// could not be written; 2 for wrong usage.
    static int runDiskUsage(Arguments args);

    /// "--saved": lists, adds, removes and runs saved searches. 0; 1 when a name is unknown, or something
    /// could not be saved or printed; 2 for wrong usage.
    static int runSaved(Arguments args);
};

/// The sort key that a word names, in any case; absent when it names none.
std::optional<SortSpec::Key> parseSortKey(std::string_view word);

}  // namespace dovra
