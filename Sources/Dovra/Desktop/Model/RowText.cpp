#include "Desktop/Model/RowText.hpp"

#include "Base/Format.hpp"
#include "Base/PathText.hpp"
#include "Base/RelativeTime.hpp"
#include "Platform/Paths.hpp"
#include "Query/NameMarks.hpp"
#include "Query/QueryParser.hpp"

namespace dovra {

RowTexts::RowTexts(const SearchState& state)
    : terms_(QueryParser::positiveTerms(state.answeredQuery())), home_(homeFolderPath().value_or("")) {}

std::string RowTexts::withoutHome(const std::string& path) const {
    if (home_.size() <= 1 || !isAtOrBelow(path, home_)) return path;
    std::string text(1, '~');
    text.append(path, home_.size());
    return text;
}

RowText RowTexts::of(const FileRow& row, double now) const {
    RowText text{.name = shownPieces(row.name, nameMarks(terms_, row.name)),
                 .path = shownText(withoutHome(row.path))};
    if (!row.isDir) {
        text.size = byteCountText(row.size);
        text.exactSize = counted(static_cast<std::int64_t>(row.size), "byte");
    }
    text.exactDate = localTime(row.modified);
    if (!text.exactDate.empty()) text.date = relativeTime(row.modified, now);
    return text;
}

}  // namespace dovra
