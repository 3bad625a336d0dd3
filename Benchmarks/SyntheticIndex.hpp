#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "Index/FileIndex.hpp"
#include "Index/LookAheadWalk.hpp"

namespace dovra::benchmarks {

/// The root of a made-up tree.
inline constexpr std::string_view syntheticRoot = "/synthetic";

/// Walks a folder tree that exists only here, as `lookAheadWalk` walks a real one: `visit` gets every folder
/// with its listing, parents first. The tree has exactly `entries` entries, the same for each number: about
/// 15 in a folder, up to 12 levels deep, with widely spread sizes and times.
void walkSyntheticTree(std::size_t entries, const std::function<DirIndex(const WalkedFolder&)>& visit);

/// Appends a folder to the index as a scan does, and returns its position.
DirIndex storeFolder(FileIndex& index, const WalkedFolder& folder);

/// An index of a made-up tree of `entries` entries, made at the first call and kept. For one thread. A caller
/// that changes it (a scan mode, a trigram index) changes it back.
FileIndex& syntheticIndex(std::size_t entries);

}  // namespace dovra::benchmarks
