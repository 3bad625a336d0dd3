#include "Base/ByteNeedle.hpp"

namespace dovra {

namespace {

/// Positions tested together. A long run fills a few vector registers, few enough to find a hit in it
/// quickly. A short run fills one, for names and for the rest of a longer text.
constexpr std::size_t longRun = 64;
constexpr std::size_t shortRun = 16;

/// The rank of a byte by its frequency in text and code; 0 for the rare bytes, which are not listed.
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
    std::size_t left = text.size() - needle_.size() + 1;
    for (; left >= longRun; start += longRun, left -= longRun) {
        if (mayStartWithin<longRun>(start) && startsWithin(start, longRun)) return true;
    }
    for (; left >= shortRun; start += shortRun, left -= shortRun) {
        if (mayStartWithin<shortRun>(start) && startsWithin(start, shortRun)) return true;
    }
    return startsWithin(start, left);
}

/// Whether both probes fit at one of the first positions from `start` on.
template <std::size_t length>
bool ByteNeedle::mayStartWithin(const char* start) const {
    // Copies, and no early exit: nothing may prevent vector instructions.
    const Probe first = probes_[0];
    const Probe second = probes_[1];
    std::uint8_t fit = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const int difference = first.difference(start + i) | second.difference(start + i);
        fit = static_cast<std::uint8_t>(fit | (difference == 0 ? 1 : 0));
    }
    return fit != 0;
}

bool ByteNeedle::startsWithin(const char* start, std::size_t length) const {
    for (const char* end = start + length; start != end; ++start) {
        if (probes_[0].difference(start) == 0 && probes_[1].difference(start) == 0 && standsAt(start))
            return true;
    }
    return false;
}

}  // namespace dovra
