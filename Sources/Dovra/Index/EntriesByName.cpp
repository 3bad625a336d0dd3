#include "Index/EntriesByName.hpp"

#include <algorithm>

#include "Index/NameSignature.hpp"

namespace dovra {

namespace {

/// A name that is looked for. Ordered so that a name of the index is compared only with those that have its
/// signature and length.
struct Asked {
    NameSignature signature;
    std::string_view name;
    std::size_t position;

    Asked(std::string_view text, std::size_t at) : signature(nameSignature(text)), name(text), position(at) {}
};

}  // namespace

std::vector<EntryId> entriesByNameLocked(const FileIndex& index, DirIndex folder,
                                         std::span<const std::string_view> names) {
    std::vector<Asked> asked;
    for (std::size_t i = 0; i < names.size(); ++i)
        asked.emplace_back(names[i], i);
    std::ranges::sort(asked, {}, [](const Asked& each) { return std::pair(each.signature, each.name); });
    std::vector<EntryId> found(names.size(), -1);
    const auto signatures = index.signaturesLocked();
    index.entriesByDirLocked().forEach(folder, [&](EntryId id) {
        const auto same =
            std::ranges::equal_range(asked, signatures[static_cast<std::size_t>(id)], {}, &Asked::signature);
        if (same.empty()) return;
        const std::string_view name = index.nameLocked(id);
        const auto match = std::ranges::lower_bound(same, name, {}, &Asked::name);
        if (match != same.end() && match->name == name) found[match->position] = id;
    });
    return found;
}

}  // namespace dovra
