#include "Index/FolderReplay.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

#include "Base/Concurrency.hpp"
#include "Index/DiskComparison.hpp"

namespace dovra {

ChangeBatch changedFolders(const FileIndex& index, const std::stop_token& stop) {
    using Stage = DiskComparison::Stage;
    DiskComparison comparison(Stage::stamps);
    ChangeBatch changed;
    while (!stop.stop_requested()) {
        DiskComparison::Reading reading{.piece = comparison.next(index), .sights = {}};
        if (reading.piece.stage != Stage::stamps) break;
        reading.sights.resize(reading.piece.folders.size());
        concurrentPerform(reading.sights.size(), [&](std::size_t i) {
            reading.sights[i] = DiskComparison::look(reading.piece.folders[i], Stage::stamps);
        });
        ChangeBatch found = comparison.compare(index, reading);
        std::ranges::move(found.paths, std::back_inserter(changed.paths));
        std::ranges::move(found.subtrees, std::back_inserter(changed.subtrees));
    }
    return changed;
}

}  // namespace dovra
