#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Base/TextNeedle.hpp"

namespace dovra {

/// Many byte strings that are looked for in one pass over a text. Immutable; safe from any thread.
///
/// The search is Wu and Manber's ("A fast algorithm for multi-pattern searching", 1994): a window as long as
/// the shortest string slides over the text, and a table says by the last few bytes in it how far it may move
/// on. Where it may not, the strings are asked, of which none is the start of another: then of all that could
/// begin there only the last one that sorts before the text can. Strings shorter than the few bytes have
/// windows of their own, or they would slow down all others.
class NeedleSet {
public:
    /// No needle is empty. Unless `caseSensitive`, letters are compared under ASCII folding.
    NeedleSet(std::vector<std::string> needles, bool caseSensitive);

    /// Whether one of the needles occurs in the text. Allocates nothing.
    bool foundIn(std::string_view text) const;

private:
    /// Needles of one length below `longestBlock`, or all the longer ones.
    struct Group {
        std::vector<std::string> needles;  ///< ascending
        std::size_t window = 0;
        std::size_t block = 0;
        unsigned hashBits = 0;
        std::vector<std::uint8_t> shifts;
    };
    static constexpr std::size_t longestBlock = 3;

    void addGroup(std::vector<std::string> needles);
    template <std::size_t block>
    bool groupFoundIn(const Group& group, std::string_view text) const;
    bool startsWithOne(const Group& group, std::string_view text) const;

    bool fold_;
    std::vector<Group> groups_;
};

/// The same for texts that are compared as `UnicodeNeedle` does.
class UnicodeNeedleSet {
public:
    UnicodeNeedleSet(const std::vector<std::string>& needles, bool caseSensitive);

    bool foundIn(std::string_view text) const;

private:
    bool caseSensitive_;
    NeedleSet forms_;  ///< the canonical forms as bytes: one of them occurs wherever a needle does
    std::vector<UnicodeNeedle> needles_;
};

}  // namespace dovra
