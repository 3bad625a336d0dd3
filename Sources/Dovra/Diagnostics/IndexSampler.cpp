#include "Diagnostics/IndexSampler.hpp"

#include <algorithm>

#include "Base/AsciiFold.hpp"
#include "Base/PathText.hpp"

namespace dovra {

namespace {

constexpr std::size_t longestPiece = 12;
constexpr std::size_t mostNonAscii = 1000;
constexpr std::string_view inventedName = "Report 2024-03.tar.gz";

}  // namespace

IndexSampler::IndexSampler(const FileIndex& index, std::uint64_t seed) : index_(index), random_(seed) {
    const ReadGuard guard(index_.rwlock);
    entryCount_ = index_.entriesLocked().size();
    for (std::size_t id = 0; id < entryCount_ && nonAscii_.size() < mostNonAscii; ++id) {
        if (!isAscii(index_.nameLocked(static_cast<EntryId>(id))))
            nonAscii_.push_back(static_cast<EntryId>(id));
    }
}

EntryId IndexSampler::anyEntry() {
    if (!nonAscii_.empty() && chance(15)) return nonAscii_[below(nonAscii_.size())];
    return static_cast<EntryId>(below(entryCount_));
}

FileEntry IndexSampler::entry() {
    if (entryCount_ == 0) return {};
    const ReadGuard guard(index_.rwlock);
    return index_.entriesLocked()[static_cast<std::size_t>(anyEntry())];
}

std::string IndexSampler::name() {
    if (entryCount_ == 0) return std::string(inventedName);
    const ReadGuard guard(index_.rwlock);
    return std::string(index_.nameLocked(anyEntry()));
}

std::string IndexSampler::path() {
    if (entryCount_ == 0) return joinPath("/", inventedName);
    const ReadGuard guard(index_.rwlock);
    const FileEntry& entry = index_.entriesLocked()[static_cast<std::size_t>(anyEntry())];
    return joinPath(index_.directoriesLocked().path(entry.dirIndex), index_.nameLocked(entry));
}

std::string IndexSampler::piece() {
    return changedCase(pieceOf(name(), longestPiece));
}

std::string IndexSampler::pieceOf(const std::string& text, std::size_t longest) {
    const std::size_t length = 1 + below(std::min(longest, text.size()));
    if (chance(25)) return text.substr(0, length);
    if (chance(33)) return text.substr(text.size() - length);
    return text.substr(below(text.size() - length + 1), length);
}

std::string IndexSampler::seam() {
    const std::string whole = path();
    const std::size_t last = whole.rfind('/');
    const std::size_t slash = chance(50) ? last : whole.find('/', below(last + 1));
    const std::size_t reach = chance(80) ? 6 : 40;
    const std::size_t before = below(std::min(slash, reach) + 1);
    const std::size_t after = below(std::min(whole.size() - slash, reach));
    return whole.substr(slash - before, before + 1 + after);
}

std::string IndexSampler::changedCase(std::string text) {
    if (chance(50)) return text;
    for (char& c : text) {
        if (isAsciiLetter(static_cast<std::uint8_t>(c)) && chance(50)) c = static_cast<char>(c ^ 0x20);
    }
    return text;
}

}  // namespace dovra
