#include "Query/FrecencyLift.hpp"

namespace dovra {

FrecencyLift::FrecencyLift(const FileIndex& index) : directories_(index.directoriesLocked()) {
    if (const RankingBoost* frecency = index.frecencyLocked()) boosts_ = frecency->boosts();
    byName_.reserve(boosts_.size());
    for (const auto& [path, boost] : boosts_) {
        const std::string_view whole = path;
        const std::size_t slash = whole.rfind('/');
        if (slash == std::string_view::npos) continue;
        const std::string_view name = whole.substr(slash + 1);
        byName_.emplace(name, InFolder{slash == 0 ? "/" : whole.substr(0, slash), boost});
        hashes_.set(slot(name));
    }
}

std::int32_t FrecencyLift::find(const FileEntry& entry, std::string_view name) const {
    const auto [first, last] = byName_.equal_range(name);
    for (auto candidate = first; candidate != last; ++candidate) {
        const auto& [folder, boost] = candidate->second;
        // The folder's own name tells most folders apart without its path.
        if (folder.ends_with(directories_.name(entry.dirIndex)) &&
            directories_.path(entry.dirIndex) == folder)
            return boost;
    }
    return 0;
}

}  // namespace dovra
