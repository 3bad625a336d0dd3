#pragma once

#include <string>
#include <vector>

#include "Base/ShownText.hpp"
#include "Desktop/Model/SearchState.hpp"
#include "Query/QueryNode.hpp"

namespace dovra {

/// A row as the table shows it. Every text is safe to show: well-formed, without controls and characters that
/// turn the direction around.
struct RowText {
    std::vector<ShownPiece> name;  ///< with the parts that met the query marked
    std::string path;              ///< of the folder, with "~" for the user's home
    std::string size = {};         ///< empty for a folder, which has none of its own
    std::string exactSize = {};
    std::string date = {};       ///< as people say it
    std::string exactDate = {};  ///< both are empty where no calendar has the time
};

/// Makes the texts of one answer's rows. For one thread.
class RowTexts {
public:
    explicit RowTexts(const SearchState& state);

    /// `now` in seconds since 1970.
    RowText of(const FileRow& row, double now) const;

private:
    std::string withoutHome(const std::string& path) const;

    std::vector<QueryNode> terms_;
    std::string home_;
};

}  // namespace dovra
