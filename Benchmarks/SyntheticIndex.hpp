#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "Index/FileIndex.hpp"
#include "Index/LookAheadWalk.hpp"

namespace dovra::benchmarks {

/// Where a made-up tree begins.
inline constexpr std::string_view syntheticRoot = "/synthetic";

/// Walks a folder tree that exists only here, as `lookAheadWalk` would walk a real one: `visit` gets every
/// folder with its listing, a folder before what lies in it. Exactly `entries` entries, always the same for
/// the same number; about 15 in a folder, which lies up to 12 levels deep; sizes and times spread widely.
void walkSyntheticTree(std::size_t entries, const std::function<DirIndex(const WalkedFolder&)>& visit);

/// Appends a folder to the index as a scan does, and returns its position.
DirIndex storeFolder(FileIndex& index, const WalkedFolder& folder);

/// An index of a made-up tree of `entries` entries, made when it is first asked for and kept. For one thread.
/// Whoever changes it (a scan mode, a trigram index) changes it back.
FileIndex& syntheticIndex(std::size_t entries);

}  // namespace dovra::benchmarks
