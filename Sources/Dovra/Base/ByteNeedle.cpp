#include "Base/ByteNeedle.hpp"

#include <cstring>

#include "Base/AsciiFold.hpp"

namespace dovra {

namespace {

/// Positions that are tested together: a few vector registers, few enough that a hit is soon found again.
constexpr std::size_t runLength = 64;

/// How common a byte is in text and code: its place in this list from the right; bytes not listed are rare.
std::size_t commonness(char byte) {
    constexpr std::string_view rarestFirst = std::string_view("qzjxkvbywgpfmcuhdlsrnoiat\ne \0", 29);
    const std::size_t place = rarestFirst.find(asciiFold(byte));
    return place == std::string_view::npos ? 0 : place + 1;
}

}  // namespace

ByteNeedle::ByteNeedle(std::string_view needle, bool caseSensitive)
    : needle_(caseSensitive ? std::string(needle) : asciiFolded(needle)), fold_(!caseSensitive) {
    if (needle_.empty()) return;
    std::size_t rarest = 0;
    for (std::size_t i = 1; i < needle_.size(); ++i) {
        if (commonness(needle_[i]) < commonness(needle_[rarest])) rarest = i;
    }
    std::size_t second = rarest == 0 ? needle_.size() - 1 : 0;
    for (std::size_t i = 0; i < needle_.size(); ++i) {
        if (i != rarest && commonness(needle_[i]) < commonness(needle_[second])) second = i;
    }
    probes_ = {probeAt(rarest), probeAt(second)};
}

bool ByteNeedle::foundIn(std::string_view text) const {
    if (needle_.empty()) return true;
    if (text.size() < needle_.size()) return false;
    const char* start = text.data();
    const char* const last = start + (text.size() - needle_.size());
    while (static_cast<std::size_t>(last - start) >= runLength) {
        if (mayStartWithin(start)) {
            for (std::size_t i = 0; i < runLength; ++i) {
                if (startsAt(start + i)) return true;
            }
        }
        start += runLength;
    }
    for (; start <= last; ++start) {
        if (startsAt(start)) return true;
    }
    return false;
}

ByteNeedle::Probe ByteNeedle::probeAt(std::size_t offset) const {
    const auto byte = static_cast<std::uint8_t>(needle_[offset]);
    const bool bothCases = fold_ && isAsciiLetter(byte);
    return {.offset = offset, .mask = static_cast<std::uint8_t>(bothCases ? 0x20 : 0), .value = byte};
}

/// Whether both probes fit at one of the `runLength` positions from `start` on.
bool ByteNeedle::mayStartWithin(const char* start) const {
    // Copies, and no early exit: nothing may keep the loop from being vectorised.
    const Probe first = probes_[0];
    const Probe second = probes_[1];
    std::uint8_t fit = 0;
    for (std::size_t i = 0; i < runLength; ++i) {
        const int difference = first.difference(start + i) | second.difference(start + i);
        fit = static_cast<std::uint8_t>(fit | (difference == 0 ? 1 : 0));
    }
    return fit != 0;
}

bool ByteNeedle::startsAt(const char* start) const {
    if (!probes_[0].fits(start) || !probes_[1].fits(start)) return false;
    if (!fold_) return std::memcmp(start, needle_.data(), needle_.size()) == 0;
    for (std::size_t i = 0; i < needle_.size(); ++i) {
        if (asciiFold(start[i]) != needle_[i]) return false;
    }
    return true;
}

}  // namespace dovra
