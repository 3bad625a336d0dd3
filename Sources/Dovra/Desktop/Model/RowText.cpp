#include "Desktop/Model/RowText.hpp"

#include "Base/Format.hpp"
#include "Base/RelativeTime.hpp"
#include "Query/NameMarks.hpp"
#include "Query/QueryParser.hpp"

namespace dovra {

RowTexts::RowTexts(const SearchState& state) : terms_(QueryParser::positiveTerms(state.answeredQuery())) {}

RowText RowTexts::of(const FileRow& row, double now) const {
    RowText text{.name = shownPieces(row.name, nameMarks(terms_, row.name)), .path = shownText(row.path)};
    if (!row.isDir) {
        text.size = byteCountText(row.size);
        text.exactSize = counted(static_cast<std::int64_t>(row.size), "byte");
    }
    text.exactDate = localTime(row.modified);
    if (!text.exactDate.empty()) text.date = relativeTime(row.modified, now);
    return text;
}

}  // namespace dovra
