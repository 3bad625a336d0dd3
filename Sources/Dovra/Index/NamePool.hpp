#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "Base/AsciiFold.hpp"
#include "Base/PodVector.hpp"
#include "Index/FileEntry.hpp"

namespace dovra {

/// The kinds of bytes in a text, one bit each: 0 to 25 for the letters without regard to case, then the bits
/// below. A name can contain a pattern, in one piece or scattered, only if its signature has all of the
/// pattern's bits: one `and` rejects most names before any is read. Since case is folded away, the test is
/// valid for case-sensitive and case-insensitive search alike.
using NameSignature = std::uint32_t;

inline constexpr unsigned digitBit = 26;
inline constexpr unsigned nonAsciiBit = 27;
inline constexpr unsigned dotBit = 28;
inline constexpr unsigned dashOrUnderscoreBit = 29;
inline constexpr unsigned spaceBit = 30;
inline constexpr unsigned otherAsciiBit = 31;

/// The signature of a text of one byte.
inline constexpr std::array<NameSignature, 256> byteSignatures = [] {
    const auto bitOf = [](unsigned byte) -> unsigned {
        if (byte >= 128) return nonAsciiBit;
        if (isAsciiLetter(static_cast<std::uint8_t>(byte)))
            return asciiFold(static_cast<std::uint8_t>(byte)) - unsigned{'a'};
        if (byte >= '0' && byte <= '9') return digitBit;
        if (byte == '.') return dotBit;
        if (byte == '-' || byte == '_') return dashOrUnderscoreBit;
        if (byte == ' ') return spaceBit;
        return otherAsciiBit;
    };
    std::array<NameSignature, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte)
        table[byte] = NameSignature{1} << bitOf(byte);
    return table;
}();

/// The signature of `name`; 0 only for the empty text.
constexpr NameSignature nameSignature(std::string_view name) {
    NameSignature signature = 0;
    for (const char c : name)
        signature |= byteSignatures[static_cast<std::uint8_t>(c)];
    return signature;
}

/// All names back to back in one block of bytes, in the order of the entries' identifiers. Beside each byte
/// one bit says whether a name ends there. So a search runs over the block as one text and can still tell the
/// entry of a hit: the number of names that end before it (a rank query, in constant time with one running
/// count for each 512 bytes). Cost: the bytes and 14 % of them.
///
/// Grows only. Not thread-safe: the index's lock guards it.
class NamePool {
public:
    static constexpr std::size_t maxBytes = 4294967295;
    static constexpr std::size_t maxNameBytes = 65535;

    /// Bytes behind the last name that may be read, without a meaning, so that vector code need not stop
    /// short.
    static constexpr std::size_t readableSlack = 192;

    /// Appends a name (not empty) and returns the offset of its first byte. Fatal when the name or the pool
    /// exceeds its limit.
    std::uint32_t append(std::string_view name);

    /// Replaces all names by those of `entries`, which fill `bytes` in this order without gaps. No name is
    /// empty or beyond the limits.
    void assign(PodVector<std::uint8_t> bytes, std::span<const FileEntry> entries);

    std::size_t size() const { return bytes_.size(); }
    std::size_t nameCount() const { return names_; }
    const std::uint8_t* bytes() const { return bytes_.data(); }
    std::string_view slice(std::uint32_t offset, std::uint16_t length) const {
        return {reinterpret_cast<const char*>(bytes_.data()) + offset, length};
    }

    /// Bit i % 64 of word i / 64 is set when a name ends with byte i. Bits behind the last byte are 0.
    const std::uint64_t* nameEnds() const { return ends_.data(); }

    /// The position, counted in names, of the name that holds the byte at `offset` (below `size()`).
    EntryId nameAt(std::size_t offset) const;

    /// Asks for the memory that the two operations around this one read for `offset`.
    void prefetchName(std::size_t offset) const {
        __builtin_prefetch(ends_.data() + offset / 64);
        __builtin_prefetch(namesBeforeBlock_.data() + offset / bytesPerBlock);
    }

    /// Whether the `length` bytes (at least 1) at `offset` belong to one name.
    bool isWithinName(std::size_t offset, std::size_t length) const;

    std::size_t memoryBytes() const;

    /// Calls `visit` with the start and the size in bytes of each array that a search reads.
    template <typename Visit>
    void forEachArray(const Visit& visit) const {
        visit(bytes_.data(), bytes_.size());
        visit(ends_.data(), ends_.size() * sizeof(std::uint64_t));
        visit(namesBeforeBlock_.data(), namesBeforeBlock_.size() * sizeof(std::uint32_t));
    }

private:
    static constexpr std::size_t bytesPerBlock = 512;

    PodVector<std::uint8_t> bytes_;
    PodVector<std::uint64_t> ends_;
    PodVector<std::uint32_t> namesBeforeBlock_;
    std::uint32_t names_ = 0;
};

}  // namespace dovra
